#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/krell/standin/descriptor.h"

namespace Krell {

class EndpointQueue;
class Host;

// Where the host's packets for VMs arrive that have no endpoint of their own here, because somebody carries
// them on to the real VM: acknowledgements, and requests for history. A host has one at most. Not for several
// threads.
class Gateway {
 public:
  // Its name in the endpoints' folder.
  static constexpr const char* kName = "gateway";

  struct Packet {
    // Of the host's socket that sent it.
    std::uint32_t sourcePort;
    // The VM that it is for, and that VM's own port.
    std::uint32_t cid;
    std::uint32_t cartelId;
    std::uint32_t port;
    std::string_view text;
  };

  // Throws HostError if another process has the host's gateway, std::system_error if it can't be made.
  // Requires: the host outlives it.
  explicit Gateway(const Host& host);
  Gateway(const Gateway&) = delete;
  Gateway& operator=(const Gateway&) = delete;
  ~Gateway();

  // For poll: readable while packets wait.
  int Descriptor() const { return socket_.Get(); }
  // The packet in turn, or nothing. Its text, cut to the largest datagram, is valid until the next call.
  std::optional<Packet> Take();

 private:
  const Host& host_;
  Krell::Descriptor socket_;
  std::shared_ptr<EndpointQueue> queue_;
  std::vector<char> buffer_;
};

}  // namespace Krell

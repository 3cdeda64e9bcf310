#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/krell/standin/endpointQueue.h"

namespace Krell {
class Host;
}

namespace Bridge {

// The daemon's end of the host: where guests' texts go. The daemon may come and go.
class DaemonEndpoint {
 public:
  // Requires: the host outlives it.
  DaemonEndpoint(const Krell::Host& host, std::uint32_t port);

  Krell::PacketFate Put(const Krell::PacketSource& source, std::string_view text);
  // How long a text of this VM would be above its rate.
  std::chrono::nanoseconds RateDelay(std::uint32_t cid);
  std::uint32_t Port() const { return port_; }

 private:
  bool Find();

  const Krell::Host& host_;
  const std::uint32_t port_;
  std::shared_ptr<Krell::EndpointQueue> queue_;
  // No second look at the folder before that, however many guests want to send.
  std::chrono::steady_clock::time_point nextLook_;
};

}  // namespace Bridge

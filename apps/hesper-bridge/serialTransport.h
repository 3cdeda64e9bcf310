#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "apps/hesper-bridge/connection.h"
#include "apps/hesper-bridge/transport.h"

namespace Bridge {

// A guest with two virtio-serial ports, whose AF_UNIX sockets the VMM has. Each line is kept connected: it is
// tried again for as long as the VM is there.
class SerialTransport final : public Transport {
 public:
  SerialTransport(Context& context, Guest& guest);

  void Start() override;
  void Close() override;
  void Ask(std::uint32_t port, std::string_view text) override;
  void Lost(const Connection& connection) override;

 private:
  // One port of the VM.
  class Line;

  Guest& guest_;
  const std::shared_ptr<Line> publish_;
  const std::shared_ptr<Line> history_;
};

}  // namespace Bridge

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "apps/hesper-bridge/historyCall.h"
#include "apps/hesper-bridge/listener.h"
#include "apps/hesper-bridge/transport.h"

namespace Bridge {

// A guest whose VMM maps its vsock to AF_UNIX sockets (Firecracker, Cloud Hypervisor): a connection of the
// guest to port P of the host comes to PATH_P; one to port P of the guest goes to PATH and begins with the
// line "CONNECT P". The guest's own port isn't told.
class HybridTransport final : public Transport {
 public:
  HybridTransport(Context& context, Guest& guest);

  void Start() override;
  void Close() override;
  void TryAgain() override;
  void Ask(std::uint32_t port, std::string_view text) override;

 private:
  Context& context_;
  Guest& guest_;
  const std::string listenPath_;
  HistoryCalls calls_;
  std::shared_ptr<Listener> listener_;
  // The connections are numbered, in place of their ports.
  std::uint32_t lastPort_ = 0;
};

}  // namespace Bridge

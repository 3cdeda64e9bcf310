#pragma once

#include <functional>
#include <memory>

#include "apps/hesper-bridge/historyCall.h"
#include "apps/hesper-bridge/listener.h"
#include "apps/hesper-bridge/transport.h"

namespace Bridge {

// A guest on the kernel's own vsock. Its connections come through the one listener of all such guests.
class VsockTransport final : public Transport {
 public:
  VsockTransport(Context& context, Guest& guest);

  void Start() override {}
  void Close() override { calls_.Close(); }
  void Ask(std::uint32_t port, std::string_view text) override;

 private:
  Context& context_;
  Guest& guest_;
  HistoryCalls calls_;
};

// Where guests connect to: gives each connection with the peer's cid and port, which the kernel tells. Throws
// std::system_error where the kernel has no vsock, or when the port is taken.
using VsockTaker = std::function<void(StreamSocket, std::uint32_t cid, std::uint32_t port)>;
std::shared_ptr<Listener> ListenOnVsock(boost::asio::io_context& io, std::uint32_t port, VsockTaker taker);

}  // namespace Bridge

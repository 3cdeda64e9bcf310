#include "apps/hesper-bridge/vsockTransport.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "apps/hesper-bridge/context.h"
#include "apps/hesper-bridge/guest.h"
#include "platform/krell/vsockAddress.h"

namespace Bridge {
namespace {

Krell::VsockAddress MakeAddress(std::uint32_t cid, std::uint32_t port) {
  return {Krell::kStandardVsockFamily, 0, port, cid, 0};
}

}  // namespace

VsockTransport::VsockTransport(Context& context, Guest& guest)
    : context_(context), guest_(guest), calls_(context.io) {}

void VsockTransport::Ask(std::uint32_t port, std::string_view text) {
  // Without a listener, the kernel's vsock is none of ours.
  if (!context_.hasVsock) return;
  const auto address = MakeAddress(guest_.Vm().identity.cid, port);
  calls_.Make({&address, sizeof address}, {}, text);
}

std::shared_ptr<Listener> ListenOnVsock(boost::asio::io_context& io, std::uint32_t port, VsockTaker taker) {
  const int family = Krell::kStandardVsockFamily;
  Corvane::FileDescriptor listening(socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const auto address = MakeAddress(Krell::kAnyCid, port);
  if (!listening.IsOpen() ||
      bind(listening.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listening.Get(), SOMAXCONN) != 0) {
    throw std::system_error(errno, std::generic_category(), "vsock port " + std::to_string(port));
  }
  return std::make_shared<Listener>(
      io, std::move(listening), family,
      [taker = std::move(taker)](StreamSocket socket, const Listener::Endpoint& peer) {
        Krell::VsockAddress from;
        if (peer.size() < sizeof from) return;
        std::memcpy(static_cast<void*>(&from), peer.data(), sizeof from);
        taker(std::move(socket), from.cid, from.port);
      });
}

}  // namespace Bridge

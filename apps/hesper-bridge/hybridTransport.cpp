#include "apps/hesper-bridge/hybridTransport.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/local/stream_protocol.hpp>
#include <system_error>
#include <utility>

#include "apps/hesper-bridge/context.h"
#include "apps/hesper-bridge/guest.h"

namespace Bridge {

HybridTransport::HybridTransport(Context& context, Guest& guest)
    : context_(context),
      guest_(guest),
      listenPath_(guest.Vm().identity.transport.path + "_" + std::to_string(context.daemon.Port())),
      calls_(context.io) {}

void HybridTransport::Start() try {
  listener_ = std::make_shared<Listener>(
      context_.io, ListenAt(listenPath_), AF_UNIX, [this](StreamSocket socket, const Listener::Endpoint&) {
        guest_.Admit(std::move(socket), ++lastPort_, guest_.Vm().identity.privileged);
      });
  listener_->Start();
} catch (const std::system_error& error) {
  guest_.Complain(std::string("can't be listened to: ") + error.what());
}

void HybridTransport::TryAgain() {
  if (!listener_) Start();
}

void HybridTransport::Close() {
  calls_.Close();
  if (!listener_) return;
  std::exchange(listener_, nullptr)->Close();
  unlink(listenPath_.c_str());
}

void HybridTransport::Ask(std::uint32_t port, std::string_view text) {
  const boost::asio::local::stream_protocol::endpoint address(guest_.Vm().identity.transport.path);
  calls_.Make({address.data(), address.size()}, "CONNECT " + std::to_string(port) + "\n", text);
}

}  // namespace Bridge

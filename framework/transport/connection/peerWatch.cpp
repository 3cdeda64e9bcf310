#include "framework/transport/connection/peerWatch.h"

#include <poll.h>

#include <boost/asio/socket_base.hpp>
#include <boost/system/error_code.hpp>

namespace Mirel::Asio {
namespace {

// The wait also ends with urgent data, which are no reason to close.
bool HasGone(TcpSocket& socket) {
  pollfd state{socket.native_handle(), 0, 0};
  return ::poll(&state, 1, 0) == 1 && (state.revents & (POLLERR | POLLHUP)) != 0;
}

}  // namespace

void CloseWhenPeerHasGone(const std::shared_ptr<IoStream>& stream) {
  if (stream->SetWatched(true)) return;
  stream->LowestSocket().async_wait(boost::asio::socket_base::wait_error,
                                    [weak = std::weak_ptr(stream)](const boost::system::error_code& error) {
                                      const auto woken = weak.lock();
                                      if (!woken || error) return;
                                      woken->SetWatched(false);
                                      if (HasGone(woken->LowestSocket())) woken->CloseUnlessBusy();
                                    });
}

}  // namespace Mirel::Asio

#include "apps/hesper-bridge/listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace Bridge {
namespace {

// When descriptors or memory run out.
constexpr std::chrono::milliseconds kShortageDelay{100};
// Its owner and its folder's group may connect.
constexpr mode_t kSocketMode = 0660;

[[noreturn]] void Fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Listener::Listener(boost::asio::io_context& io, Corvane::FileDescriptor socket, int family, Taker taker)
    : acceptor_(io), timer_(io), taker_(std::move(taker)) {
  acceptor_.assign(boost::asio::generic::stream_protocol(family, 0), socket.Release());
}

void Listener::Accept() {
  acceptor_.async_accept(
      peer_, [self = shared_from_this()](const boost::system::error_code& error, StreamSocket socket) {
        if (!self->acceptor_.is_open()) return;
        if (error && Corvane::IsShortage(error.value())) return self->AcceptLater();
        if (!error) self->taker_(std::move(socket), self->peer_);
        if (self->acceptor_.is_open()) self->Accept();
      });
}

void Listener::AcceptLater() {
  timer_.expires_after(kShortageDelay);
  timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
    if (!error && self->acceptor_.is_open()) self->Accept();
  });
}

void Listener::Close() {
  boost::system::error_code error;
  acceptor_.close(error);
  timer_.cancel();
}

Corvane::FileDescriptor ListenAt(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    Fail(path);
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) unlink(path.c_str());
  Corvane::FileDescriptor listening(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  // Before the bind, which gives the mode to the file: there is no moment with another one.
  if (!listening.IsOpen() || fchmod(listening.Get(), kSocketMode) != 0 ||
      bind(listening.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listening.Get(), SOMAXCONN) != 0) {
    Fail(path);
  }
  return listening;
}

}  // namespace Bridge

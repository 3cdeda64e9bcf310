#include "guest/lib/agentSocket.h"

#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

namespace HesperGuest {
namespace {

int ConnectTo(int descriptor, const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return -ENAMETOOLONG;
  std::memcpy(address.sun_path, path.data(), path.size());
  return connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : -errno;
}

// The kernel's own abstract addresses come again, and with them an answer that is late for another program.
int BindToNewAddress(int descriptor) {
  std::uint64_t number = 0;
  if (getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number)) return -errno;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const int length = std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "hesper.%016llx",
                                   static_cast<unsigned long long>(number));
  const auto size =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1) + static_cast<socklen_t>(length);
  return bind(descriptor, reinterpret_cast<const sockaddr*>(&address), size) == 0 ? 0 : -errno;
}

// The call until it is through, or has failed otherwise than for want of an event.
template <typename Call>
int Repeat(int descriptor, short event, const Deadline& deadline, Call call) {
  for (;;) {
    if (call() >= 0) return 0;
    if (errno == EAGAIN) {
      if (const int error = Await(descriptor, event, deadline)) return error;
    } else if (errno != EINTR) {
      return -errno;
    }
  }
}

}  // namespace

int AgentSocket::Open() {
  Close();
  Corvane::FileDescriptor opened(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!opened.IsOpen()) return -errno;
  // In this order: before it is connected, whoever finds its address could send to it.
  if (const int error = ConnectTo(opened.Get(), path_)) return error;
  if (const int error = BindToNewAddress(opened.Get())) return error;
  descriptor_ = std::move(opened);
  return 0;
}

int AgentSocket::Send(std::string_view text, const Deadline& deadline) const {
  return Repeat(descriptor_.Get(), POLLOUT, deadline,
                [&] { return send(descriptor_.Get(), text.data(), text.size(), MSG_NOSIGNAL); });
}

int AgentSocket::Receive(std::string& room, std::string_view& text, const Deadline& deadline) const {
  ssize_t size = 0;
  const int error = Repeat(descriptor_.Get(), POLLIN, deadline, [&] {
    size = recv(descriptor_.Get(), room.data(), room.size(), MSG_TRUNC);
    return size;
  });
  if (error != 0) return error;
  if (static_cast<std::size_t>(size) > room.size()) return -EMSGSIZE;
  text = {room.data(), static_cast<std::size_t>(size)};
  return 0;
}

}  // namespace HesperGuest

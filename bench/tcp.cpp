#include "bench/tcp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace Bench {

void RaiseDescriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

Corvane::FileDescriptor TryConnect(std::uint16_t port) {
  Corvane::FileDescriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(connection.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return {};
  const int on = 1;
  setsockopt(connection.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return connection;
}

Corvane::FileDescriptor Connect(std::uint16_t port) {
  auto connection = TryConnect(port);
  if (!connection.IsOpen()) throw std::system_error(errno, std::generic_category(), "connect");
  return connection;
}

void SendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const auto sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0) throw std::system_error(errno, std::generic_category(), "send");
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

}  // namespace Bench

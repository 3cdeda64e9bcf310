#include "fleet/stream/trustedConnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "fleet/stream/call.h"
#include "fleet/stream/peerSocket.h"

namespace Fleet {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongestPause{50};

std::string Place(unsigned port) {
  return "127.0.0.1:" + std::to_string(port);
}

[[noreturn]] void Interrupt(unsigned port, const std::string& why) {
  throw CallFault(CallFault::Kind::Interrupted, Place(port) + ": " + why);
}

// A port that nobody has may be the one that this very socket was given: it is then connected to itself.
bool IsItself(int socket, unsigned port) {
  sockaddr_in own{};
  socklen_t length = sizeof own;
  return getsockname(socket, reinterpret_cast<sockaddr*>(&own), &length) == 0 && ntohs(own.sin_port) == port;
}

int WaitUntilConnected(int socket, const std::stop_token& stop, Clock::time_point deadline) {
  pollfd waiting{socket, POLLOUT, 0};
  while (poll(&waiting, 1, static_cast<int>(kLongestPause.count())) <= 0) {
    if (stop.stop_requested() || Clock::now() > deadline) return ETIMEDOUT;
  }
  int error = 0;
  socklen_t length = sizeof error;
  getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length);
  return error;
}

Corvane::FileDescriptor Connect(unsigned port, const std::stop_token& stop, Clock::time_point deadline) {
  Corvane::FileDescriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!connection.IsOpen()) Interrupt(port, std::strerror(errno));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int error = 0;
  if (connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    error = errno == EINPROGRESS ? WaitUntilConnected(connection.Get(), stop, deadline) : errno;
  }
  if (error != 0) Interrupt(port, std::strerror(error));
  if (IsItself(connection.Get(), port)) Interrupt(port, std::strerror(ECONNREFUSED));
  return connection;
}

PeerSocket WaitUntilAccepted(int socket, unsigned port, const std::stop_token& stop,
                             Clock::time_point deadline) {
  for (std::chrono::milliseconds pause{1};; pause = std::min(2 * pause, kLongestPause)) {
    const auto peer = FindPeer(socket);
    if (!peer) Interrupt(port, "the connection was closed at once");
    if (peer->accepted) return *peer;
    if (stop.stop_requested() || Clock::now() > deadline) Interrupt(port, "nobody accepts the connection");
    std::this_thread::sleep_for(pause);
  }
}

bool IsTrusted(uid_t user) {
  // What stands for all users that have no name in this process's namespace.
  constexpr uid_t kOverflow = 65534;
  return user == 0 || (user == geteuid() && user != kOverflow);
}

}  // namespace

Corvane::FileDescriptor ConnectTrusted(unsigned port, const std::stop_token& stop,
                                       std::chrono::steady_clock::time_point deadline) try {
  auto connection = Connect(port, stop, deadline);
  const auto peer = WaitUntilAccepted(connection.Get(), port, stop, deadline);
  if (!IsTrusted(peer.user)) {
    Interrupt(port, "a program of user " + std::to_string(peer.user) +
                        " is there, neither root's nor the caller's own: nothing was sent to it");
  }
  return connection;
} catch (const CallFault&) {
  throw;
} catch (const std::exception& fault) {
  throw CallFault(CallFault::Kind::Refused, Place(port) + ": " + fault.what());
}

}  // namespace Fleet

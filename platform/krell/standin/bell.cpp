#include "platform/krell/standin/bell.h"

#include <cerrno>

#include "platform/krell/standin/endpointAddress.h"
#include "platform/krell/standin/libc.h"

namespace Krell {
namespace {

constexpr int kSendFlags = MSG_DONTWAIT | MSG_NOSIGNAL;
// Less often, a connection is not worth its walk.
constexpr unsigned kFrequent = 8;

const sockaddr* SocketAddress(const EndpointAddress& address) {
  return reinterpret_cast<const sockaddr*>(address.bytes);
}

}  // namespace

Bell& Bell::OfThisProcess() {
  static auto& bell = *new Bell;
  return bell;
}

bool Bell::Ring(std::uint64_t endpoint, const EndpointAddress& address) {
  const Corvane::MutexLock guard(mutex_);
  if (RingConnected(endpoint)) return true;
  if (!RingAt(address)) return false;
  ConnectToFrequent(endpoint, address);
  return true;
}

bool Bell::RingConnected(std::uint64_t endpoint) {
  return endpoint == connected_ && Libc::Send(socket_, "", 1, kSendFlags) >= 0;
}

// What the socket has sent and nobody has read is charged to it, and guests need not read: when it can send
// no more, a fresh one takes its place.
bool Bell::RingAt(const EndpointAddress& address) {
  for (int tries = 0; tries < 2; ++tries) {
    if (Libc::SendTo(socket_, "", 1, kSendFlags, SocketAddress(address), address.length) >= 0) return true;
    if (errno == ECONNREFUSED || errno == ENOENT) return false;
    RenewSocket();
  }
  return true;
}

void Bell::RenewSocket() {
  if (socket_ >= 0) Libc::Close(socket_);
  socket_ = Libc::Socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  connected_ = 0;
}

// A socket is connected once in its life: forked processes share it, each with an opinion of its own.
void Bell::ConnectToFrequent(std::uint64_t endpoint, const EndpointAddress& address) {
  inARow_ = endpoint == last_ ? inARow_ + 1 : 1;
  last_ = endpoint;
  if (inARow_ < kFrequent) return;
  inARow_ = 0;
  RenewSocket();
  if (Libc::Connect(socket_, SocketAddress(address), address.length) == 0) connected_ = endpoint;
}

}  // namespace Krell

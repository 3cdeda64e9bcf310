#include "platform/krell/standin/bell.h"

#include <cerrno>

#include "platform/krell/standin/endpointAddress.h"
#include "platform/krell/standin/libc.h"

namespace Krell {
namespace {

constexpr int kSendFlags = MSG_DONTWAIT | MSG_NOSIGNAL;
// To make a connection costs as much as a few walks.
constexpr unsigned kFrequent = 8;

int OpenBellSocket() {
  return Libc::Socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

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
  if (endpoint == connected_ && RingConnected()) return true;
  if (!RingAt(address)) return false;
  ConnectToFrequent(endpoint, address);
  return true;
}

bool Bell::RingConnected() {
  if (Libc::Send(connection_, "", 1, kSendFlags) >= 0 || errno == EAGAIN) return true;
  connected_ = 0;
  return false;
}

// What the socket has sent and nobody has read is charged to it, and guests need not read: when it can send
// no more, a fresh one takes its place.
bool Bell::RingAt(const EndpointAddress& address) {
  for (int tries = 0; tries < 2; ++tries) {
    if (Libc::SendTo(socket_, "", 1, kSendFlags, SocketAddress(address), address.length) >= 0) return true;
    if (errno == ECONNREFUSED || errno == ENOENT) return false;
    if (socket_ >= 0) Libc::Close(socket_);
    socket_ = OpenBellSocket();
  }
  return true;
}

void Bell::ConnectToFrequent(std::uint64_t endpoint, const EndpointAddress& address) {
  inARow_ = endpoint == last_ ? inARow_ + 1 : 1;
  last_ = endpoint;
  if (inARow_ < kFrequent) return;
  inARow_ = 0;
  if (connection_ >= 0) Libc::Close(connection_);
  connection_ = OpenBellSocket();
  const bool works = Libc::Connect(connection_, SocketAddress(address), address.length) == 0;
  connected_ = works ? endpoint : 0;
}

}  // namespace Krell

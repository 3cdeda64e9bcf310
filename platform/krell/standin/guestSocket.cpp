#include "platform/krell/standin/guestSocket.h"
#include "lib/public/api/guestLimits.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>
#include <utility>
#include <vector>

namespace Krell {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

[[noreturn]] void Fail(const char* call) {
  throw std::system_error(errno, std::generic_category(), call);
}

sockaddr* AsSockaddr(VsockAddress& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

// A kernel that has not the standard number hands one out through the device. The descriptor stays open:
// the family is there only as long.
int FamilyOfDevice() {
  static const int family = [] {
    const int device = open(kVsockDevice, O_RDONLY | O_CLOEXEC);
    int value = -1;
    if (device >= 0 && ioctl(device, kIoctlAddressFamily, &value) != 0) value = -1;
    return value;
  }();
  return family;
}

// What poll takes: milliseconds, or -1 without limit.
class Deadline {
 public:
  explicit Deadline(milliseconds timeout)
      : isEndless_(timeout.count() < 0),
        end_(steady_clock::now() + std::clamp(timeout, milliseconds(0), kLongest)) {}

  int Left() const {
    if (isEndless_) return -1;
    const auto left = std::chrono::ceil<milliseconds>(end_ - steady_clock::now());
    return static_cast<int>(std::max(left, milliseconds(0)).count());
  }

 private:
  static constexpr milliseconds kLongest{std::numeric_limits<int>::max()};

  const bool isEndless_;
  const steady_clock::time_point end_;
};

}  // namespace

GuestSocket::GuestSocket(std::uint32_t cid, std::uint32_t port) : cid_(cid) {
  fd_ = socket(family_, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0 && errno == EAFNOSUPPORT && FamilyOfDevice() >= 0) {
    family_ = FamilyOfDevice();
    fd_ = socket(family_, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  }
  if (fd_ < 0) Fail("socket");
  VsockAddress address{static_cast<std::uint16_t>(family_), 0, port, cid, 0};
  socklen_t length = sizeof address;
  const char* failed = nullptr;
  if (bind(fd_, AsSockaddr(address), sizeof address) != 0) {
    failed = "bind";
  } else if (getsockname(fd_, AsSockaddr(address), &length) != 0) {
    failed = "getsockname";
  }
  if (failed != nullptr) {
    const int error = errno;
    close(fd_);
    throw std::system_error(error, std::generic_category(), failed);
  }
  port_ = address.port;
}

GuestSocket::GuestSocket(GuestSocket&& other) noexcept
    : family_(other.family_), fd_(std::exchange(other.fd_, -1)), cid_(other.cid_), port_(other.port_) {}

GuestSocket& GuestSocket::operator=(GuestSocket&& other) noexcept {
  std::swap(family_, other.family_);
  std::swap(fd_, other.fd_);
  std::swap(cid_, other.cid_);
  std::swap(port_, other.port_);
  return *this;
}

GuestSocket::~GuestSocket() {
  if (fd_ >= 0) close(fd_);
}

void GuestSocket::Send(std::uint32_t hostPort, std::string_view text) {
  VsockAddress address{static_cast<std::uint16_t>(family_), 0, hostPort, kHostCid, 0};
  while (sendto(fd_, text.data(), text.size(), MSG_NOSIGNAL, AsSockaddr(address), sizeof address) < 0) {
    if (errno != EINTR) Fail("sendto");
  }
}

std::optional<Datagram> GuestSocket::Receive(std::chrono::milliseconds timeout) {
  // One buffer a thread: programs with thousands of guests receive often, and small texts.
  static thread_local std::vector<char> buffer(NornHesper::kLargestDatagram);
  const Deadline deadline(timeout);
  // It can be readable for nothing: a byte that rings for a packet can come after the packet was taken.
  while (IsReadable(deadline.Left())) {
    VsockAddress source;
    socklen_t length = sizeof source;
    const ssize_t size =
        recvfrom(fd_, buffer.data(), buffer.size(), MSG_DONTWAIT, AsSockaddr(source), &length);
    if (size >= 0) {
      return Datagram{std::string(buffer.data(), static_cast<std::size_t>(size)), source.cid, source.port};
    }
    if (errno == EINTR) break;
    if (errno != EAGAIN) Fail("recvfrom");
  }
  return std::nullopt;
}

bool GuestSocket::IsReadable(int timeout) const {
  pollfd ready{fd_, POLLIN, 0};
  if (poll(&ready, 1, timeout) < 0 && errno != EINTR) Fail("poll");
  return (ready.revents & POLLIN) != 0;
}

}  // namespace Krell

// The C library's calls of the vsock's users. Each asks first whether the descriptor is one of ours, which is
// one load: programs send all of their other traffic through here as well.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <exception>
#include <memory>
#include <system_error>
#include <utility>

#include "platform/krell/standin/descriptorTable.h"
#include "platform/krell/standin/libc.h"
#include "platform/krell/standin/vsockKernel.h"
#include "platform/krell/standin/vsockSocket.h"

#define KRELL_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using Krell::DescriptorTable;
using Krell::OpenDescriptor;
using Krell::VsockKernel;
using Krell::VsockSocket;
namespace Libc = Krell::Libc;

DescriptorTable& Table() {
  return DescriptorTable::OfThisProcess();
}

std::shared_ptr<VsockSocket> FindSocket(int fd) {
  return Table().FindSocket(fd);
}

bool Register(int fd, OpenDescriptor descriptor) {
  if (Table().Insert(fd, std::move(descriptor))) return true;
  const int error = errno;
  Libc::Close(fd);
  errno = error;
  return false;
}

// Turns a length or a negative errno into what the C library's calls give.
template <typename Value>
Value Answer(Value result) {
  if (result >= 0) return result;
  errno = static_cast<int>(-result);
  return -1;
}

// No exception may leave a call of the C library.
template <typename Call>
auto Guarded(Call call) noexcept -> decltype(call()) {
  try {
    return Answer(call());
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
  } catch (const std::system_error& error) {
    errno = error.code().value();
  } catch (const std::exception&) {
    errno = EIO;
  }
  return -1;
}

bool IsDevice(const char* path) {
  return path != nullptr && path[0] == '/' && (path[1] == 'd' || path[1] == 'c') &&
         (std::strcmp(path, Krell::kVsockDevice) == 0 ||
          std::strcmp(path, Krell::kVsockDeviceAlternative) == 0);
}

bool HostIsNamed() {
  const char* directory = std::getenv("KRELL_HOST_DIR");
  return directory != nullptr && *directory != '\0';
}

int OpenDevice(const char* path, int flags) {
  const auto kernel = VsockKernel::Current();
  if (!kernel) return -EACCES;
  if (!kernel->HasDevice() || std::strcmp(path, Krell::kVsockDevice) != 0) return -ENOENT;
  if (const int error = kernel->GetFaults().Next("open")) return -error;
  const int fd = kernel->OpenDevice(flags);
  if (fd < 0 || !Register(fd, {kernel, nullptr})) return -errno;
  kernel->DeviceOpened();
  return fd;
}

int OpenPath(const char* path, int flags, mode_t mode) {
  if (IsDevice(path) && HostIsNamed()) return Guarded([&] { return OpenDevice(path, flags); });
  return Libc::Open(path, flags, mode);
}

int MakeSocket(int family, int type, int protocol) {
  const auto kernel = VsockKernel::Current();
  if (!kernel) return -EACCES;
  if (!kernel->HasFamily(family)) return -EAFNOSUPPORT;
  if (const int error = kernel->GetFaults().Next("socket")) return -error;
  constexpr int kTypeFlags = SOCK_CLOEXEC | SOCK_NONBLOCK;
  if ((type & ~kTypeFlags) != SOCK_DGRAM) return -ESOCKTNOSUPPORT;
  if (protocol != 0) return -EPROTONOSUPPORT;
  const int fd = Libc::Socket(AF_UNIX, type, 0);
  if (fd < 0) return -errno;
  return Register(fd, {kernel, std::make_shared<VsockSocket>(kernel, fd)}) ? fd : -errno;
}

ssize_t ReceiveInto(VsockSocket& socket, void* buffer, std::size_t size, int flags, sockaddr* address,
                    socklen_t* length) {
  iovec part{buffer, size};
  msghdr message{};
  message.msg_name = length == nullptr ? nullptr : address;
  message.msg_namelen = length == nullptr ? 0 : *length;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  const ssize_t result = socket.Receive(message, flags);
  if (result >= 0 && address != nullptr && length != nullptr) *length = message.msg_namelen;
  return result;
}

ssize_t SendFrom(VsockSocket& socket, const void* buffer, std::size_t size, const sockaddr* address,
                 socklen_t length) {
  iovec part{const_cast<void*>(buffer), size};
  msghdr message{};
  message.msg_name = const_cast<sockaddr*>(address);
  message.msg_namelen = length;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  return socket.Send(message);
}

bool HasMode(int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

}  // namespace

KRELL_EXPORT int socket(int family, int type, int protocol) noexcept {
  if ((family != Krell::kStandardVsockFamily && family != VsockKernel::kDeviceFamily) || !HostIsNamed()) {
    return Libc::Socket(family, type, protocol);
  }
  return Guarded([&] { return MakeSocket(family, type, protocol); });
}

KRELL_EXPORT int bind(int fd, const sockaddr* address, socklen_t length) noexcept {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::Bind(fd, address, length);
  return Guarded([&] { return socket->Bind(address, length); });
}

KRELL_EXPORT int connect(int fd, const sockaddr* address, socklen_t length) {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::Connect(fd, address, length);
  return Guarded([&] { return socket->Connect(address, length); });
}

KRELL_EXPORT int getsockname(int fd, sockaddr* address, socklen_t* length) noexcept {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::GetSockName(fd, address, length);
  return Guarded([&] { return socket->GetName(address, length); });
}

KRELL_EXPORT int getpeername(int fd, sockaddr* address, socklen_t* length) noexcept {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::GetPeerName(fd, address, length);
  return Guarded([&] { return socket->GetPeer(address, length); });
}

KRELL_EXPORT int getsockopt(int fd, int level, int option, void* value, socklen_t* length) noexcept {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::GetSockOpt(fd, level, option, value, length);
  return Guarded([&] { return socket->GetOption(level, option, value, length); });
}

KRELL_EXPORT int setsockopt(int fd, int level, int option, const void* value, socklen_t length) noexcept {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::SetSockOpt(fd, level, option, value, length);
  return Guarded([&] { return socket->SetOption(level, option, value, length); });
}

KRELL_EXPORT ssize_t recvmsg(int fd, msghdr* message, int flags) {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::RecvMsg(fd, message, flags);
  return Guarded([&] { return socket->Receive(*message, flags); });
}

KRELL_EXPORT ssize_t recvfrom(int fd, void* buffer, std::size_t size, int flags, sockaddr* address,
                              socklen_t* length) {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::RecvFrom(fd, buffer, size, flags, address, length);
  return Guarded([&] { return ReceiveInto(*socket, buffer, size, flags, address, length); });
}

KRELL_EXPORT ssize_t recv(int fd, void* buffer, std::size_t size, int flags) {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::Recv(fd, buffer, size, flags);
  return Guarded([&] { return ReceiveInto(*socket, buffer, size, flags, nullptr, nullptr); });
}

KRELL_EXPORT ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::SendMsg(fd, message, flags);
  return Guarded([&] { return socket->Send(*message); });
}

KRELL_EXPORT ssize_t sendto(int fd, const void* buffer, std::size_t size, int flags, const sockaddr* address,
                            socklen_t length) {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::SendTo(fd, buffer, size, flags, address, length);
  return Guarded([&] { return SendFrom(*socket, buffer, size, address, length); });
}

KRELL_EXPORT ssize_t send(int fd, const void* buffer, std::size_t size, int flags) {
  const auto socket = FindSocket(fd);
  if (!socket) return Libc::Send(fd, buffer, size, flags);
  return Guarded([&] { return SendFrom(*socket, buffer, size, nullptr, 0); });
}

KRELL_EXPORT int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = HasMode(flags) ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return OpenPath(path, flags, mode);
}

KRELL_EXPORT int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = HasMode(flags) ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return OpenPath(path, flags | O_LARGEFILE, mode);
}

KRELL_EXPORT int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  const auto device = Table().FindDevice(fd);
  if (!device) return Libc::Ioctl(fd, request, argument);
  return Guarded([&] { return -device->DeviceRequest(request, argument); });
}

KRELL_EXPORT int close(int fd) {
  const OpenDescriptor descriptor = Table().Erase(fd);
  if (descriptor.socket) {
    descriptor.socket->Close();
  } else if (descriptor.kernel) {
    descriptor.kernel->DeviceClosed();
  }
  return Libc::Close(fd);
}

// What programs call that are built with _FORTIFY_SOURCE.
// NOLINTBEGIN(bugprone-reserved-identifier)

KRELL_EXPORT ssize_t __recv_chk(int fd, void* buffer, std::size_t size, std::size_t room, int flags) {
  if (size > room) std::terminate();
  return recv(fd, buffer, size, flags);
}

KRELL_EXPORT ssize_t __recvfrom_chk(int fd, void* buffer, std::size_t size, std::size_t room, int flags,
                                    sockaddr* address, socklen_t* length) {
  if (size > room) std::terminate();
  return recvfrom(fd, buffer, size, flags, address, length);
}

KRELL_EXPORT int __open_2(const char* path, int flags) {
  return OpenPath(path, flags, 0);
}
KRELL_EXPORT int __open64_2(const char* path, int flags) {
  return OpenPath(path, flags, 0);
}
// NOLINTEND(bugprone-reserved-identifier)

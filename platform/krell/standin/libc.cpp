#include "platform/krell/standin/libc.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Krell::Libc {
namespace {

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

int Socket(int family, int type, int protocol) {
  static const auto next = Next<int (*)(int, int, int)>("socket");
  return next(family, type, protocol);
}

int Bind(int fd, const sockaddr* address, socklen_t length) {
  static const auto next = Next<int (*)(int, const sockaddr*, socklen_t)>("bind");
  return next(fd, address, length);
}

int Connect(int fd, const sockaddr* address, socklen_t length) {
  static const auto next = Next<int (*)(int, const sockaddr*, socklen_t)>("connect");
  return next(fd, address, length);
}

int GetSockOpt(int fd, int level, int option, void* value, socklen_t* length) {
  static const auto next = Next<int (*)(int, int, int, void*, socklen_t*)>("getsockopt");
  return next(fd, level, option, value, length);
}

int SetSockOpt(int fd, int level, int option, const void* value, socklen_t length) {
  static const auto next = Next<int (*)(int, int, int, const void*, socklen_t)>("setsockopt");
  return next(fd, level, option, value, length);
}

int GetSockName(int fd, sockaddr* address, socklen_t* length) {
  static const auto next = Next<int (*)(int, sockaddr*, socklen_t*)>("getsockname");
  return next(fd, address, length);
}

int GetPeerName(int fd, sockaddr* address, socklen_t* length) {
  static const auto next = Next<int (*)(int, sockaddr*, socklen_t*)>("getpeername");
  return next(fd, address, length);
}

ssize_t RecvMsg(int fd, msghdr* message, int flags) {
  static const auto next = Next<ssize_t (*)(int, msghdr*, int)>("recvmsg");
  return next(fd, message, flags);
}

ssize_t RecvFrom(int fd, void* buffer, std::size_t size, int flags, sockaddr* address, socklen_t* length) {
  static const auto next = Next<ssize_t (*)(int, void*, std::size_t, int, sockaddr*, socklen_t*)>("recvfrom");
  return next(fd, buffer, size, flags, address, length);
}

ssize_t Recv(int fd, void* buffer, std::size_t size, int flags) {
  static const auto next = Next<ssize_t (*)(int, void*, std::size_t, int)>("recv");
  return next(fd, buffer, size, flags);
}

ssize_t SendMsg(int fd, const msghdr* message, int flags) {
  static const auto next = Next<ssize_t (*)(int, const msghdr*, int)>("sendmsg");
  return next(fd, message, flags);
}

ssize_t SendTo(int fd, const void* buffer, std::size_t size, int flags, const sockaddr* address,
               socklen_t length) {
  static const auto next =
      Next<ssize_t (*)(int, const void*, std::size_t, int, const sockaddr*, socklen_t)>("sendto");
  return next(fd, buffer, size, flags, address, length);
}

ssize_t Send(int fd, const void* buffer, std::size_t size, int flags) {
  static const auto next = Next<ssize_t (*)(int, const void*, std::size_t, int)>("send");
  return next(fd, buffer, size, flags);
}

int Ioctl(int fd, unsigned long request, void* argument) {
  static const auto next = Next<int (*)(int, unsigned long, ...)>("ioctl");
  return next(fd, request, argument);
}

int Open(const char* path, int flags, mode_t mode) {
  static const auto next = Next<int (*)(const char*, int, ...)>("open");
  return next(path, flags, mode);
}

int Close(int fd) {
  static const auto next = Next<int (*)(int)>("close");
  return next(fd);
}

}  // namespace Krell::Libc

#pragma once

#include <cstddef>

#include <sys/socket.h>
#include <sys/types.h>

// The C library's own calls, behind the ones that this library puts in front of them.
namespace Krell::Libc {

int Socket(int family, int type, int protocol);
int Bind(int fd, const sockaddr* address, socklen_t length);
int Connect(int fd, const sockaddr* address, socklen_t length);
int GetSockOpt(int fd, int level, int option, void* value, socklen_t* length);
int SetSockOpt(int fd, int level, int option, const void* value, socklen_t length);
int GetSockName(int fd, sockaddr* address, socklen_t* length);
int GetPeerName(int fd, sockaddr* address, socklen_t* length);
ssize_t RecvMsg(int fd, msghdr* message, int flags);
ssize_t RecvFrom(int fd, void* buffer, std::size_t size, int flags, sockaddr* address, socklen_t* length);
ssize_t Recv(int fd, void* buffer, std::size_t size, int flags);
ssize_t SendMsg(int fd, const msghdr* message, int flags);
ssize_t SendTo(int fd, const void* buffer, std::size_t size, int flags, const sockaddr* address,
               socklen_t length);
ssize_t Send(int fd, const void* buffer, std::size_t size, int flags);
int Ioctl(int fd, unsigned long request, void* argument);
int Open(const char* path, int flags, mode_t mode);
int Close(int fd);

}  // namespace Krell::Libc

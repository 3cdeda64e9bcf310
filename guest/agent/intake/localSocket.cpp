#include "guest/agent/intake/localSocket.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace GuestAgent {
namespace {

// One byte more, so that what is too long is seen to be so.
constexpr std::size_t kBufferSize = kLongestRequest + 1;
// SO_PASSRIGHTS of Linux 6.16: descriptors that somebody sends along aren't taken. Closing one may take long
// (SO_LINGER), and the last who holds it is who closes it.
constexpr int kPassRights = 83;
constexpr std::size_t kNameOffset = offsetof(sockaddr_un, sun_path);

[[noreturn]] void Fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw std::runtime_error(path + " is too long for a socket's name");
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

// Removes what an agent left that was killed.
void RemoveStale(int socket, const sockaddr_un& address, const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return;
  if (!S_ISSOCK(status.st_mode)) throw std::runtime_error(path + " is there, and is no socket");
  if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    throw std::runtime_error("another agent listens on " + path);
  }
  if (unlink(path.c_str()) != 0) Fail("cannot remove " + path);
}

// The sender's credentials are what the kernel says, if it says anything.
const ucred* CredentialsOf(msghdr& message) {
  for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part)) {
    if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_CREDENTIALS) {
      return reinterpret_cast<const ucred*>(CMSG_DATA(part));
    }
  }
  return nullptr;
}

}  // namespace

ReturnAddress::ReturnAddress(const sockaddr_un& address, socklen_t length) : address_(address) {
  const bool isAbstract = length > kNameOffset && length <= sizeof address && address.sun_path[0] == '\0';
  if (isAbstract) length_ = length;
}

LocalSocket::LocalSocket(const std::string& path)
    : path_(path),
      socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
      buffer_(std::make_unique<char[]>(kBufferSize)) {
  if (!socket_.IsOpen()) Fail("socket");
  const auto address = AddressOf(path);
  RemoveStale(socket_.Get(), address, path);
  const int yes = 1;
  if (setsockopt(socket_.Get(), SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes) != 0) Fail("SO_PASSCRED");
  const int no = 0;
  // Older kernels don't know it.
  setsockopt(socket_.Get(), SOL_SOCKET, kPassRights, &no, sizeof no);
  // Not for anybody before it has its mode.
  const mode_t mask = umask(0177);
  const int bound = bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  umask(mask);
  if (bound != 0) Fail("cannot listen on " + path);
  if (chmod(path.c_str(), 0666) != 0) Fail("cannot set the mode of " + path);
}

LocalSocket::~LocalSocket() {
  unlink(path_.c_str());
}

std::optional<LocalSocket::Datagram> LocalSocket::Receive() {
  for (;;) {
    sockaddr_un sender{};
    iovec part{buffer_.get(), kBufferSize};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr message{};
    message.msg_name = &sender;
    message.msg_namelen = sizeof sender;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t size = recvmsg(socket_.Get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return std::nullopt;
    const ucred* credentials = CredentialsOf(message);
    if (credentials == nullptr) continue;
    const auto length = static_cast<std::size_t>(size);
    return Datagram{{buffer_.get(), length},
                    length > kLongestRequest,
                    credentials->uid,
                    credentials->gid,
                    {sender, message.msg_namelen}};
  }
}

void LocalSocket::Answer(const ReturnAddress& sender, std::string_view text) const {
  if (!sender.IsKnown()) return;
  sendto(socket_.Get(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
         reinterpret_cast<const sockaddr*>(&sender.Address()), sender.Length());
}

}  // namespace GuestAgent

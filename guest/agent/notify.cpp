#include "guest/agent/notify.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "platform/corvane/fileDescriptor.h"

namespace GuestAgent {

void Notify(const char* state) {
  const char* path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::size_t length = path != nullptr ? std::strlen(path) : 0;
  if (length < 2 || length >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, path, length);
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';
  const Corvane::FileDescriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sendto(sender.Get(), state, std::strlen(state), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address),
         static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
}

}  // namespace GuestAgent

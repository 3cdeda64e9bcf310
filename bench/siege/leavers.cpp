// Subscribers with a token who come on a topic that never matches, and go: by a reset, in order, or without a
// word.

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <deque>
#include <string>

#include "bench/siege/attacks.h"
#include "bench/siege/client.h"
#include "testing/subscriber.h"

namespace Siege {
namespace {

constexpr std::size_t kLeavers = 1000;
constexpr std::size_t kPresent = 20;  // how many are there when the first one goes

enum class Leaving { Reset, InOrder, Vanished };

int Subscribe(std::uint16_t port, const std::string& request) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const auto address = Loopback(port);
  const timeval patience{2, 0};
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    (void)!send(fd, request.data(), request.size(), MSG_NOSIGNAL);
  }
  return fd;
}

// A socket that is closed under repair sends nothing; a later probe of its peer is answered by a reset.
void Leave(int fd, Leaving how) {
  const linger hard{1, 0};
  const int on = 1;
  if (how == Leaving::Reset) setsockopt(fd, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
  if (how == Leaving::Vanished) setsockopt(fd, IPPROTO_TCP, TCP_REPAIR, &on, sizeof on);
  close(fd);
}

}  // namespace

void Leavers(const Assault& assault) {
  const auto request = Testing::CallRequest(
      kSubscribe, R"({"spec":{"vm_id_type":"MGR_VM_ID","topic_prefixes":["never"]}})", kStreaming);
  const auto pause =
      std::chrono::duration_cast<milliseconds>(assault.end - assault.begin) * 9 / 10 / kLeavers;
  std::deque<int> there;
  for (std::size_t number = 0; number < kLeavers + kPresent; ++number) {
    if (number < kLeavers && assault.GoesOn()) {
      there.push_back(Subscribe(assault.port, request));
      assault.Count();
      Sleep(pause);
    }
    assault.Hold(there.size());
    if (number < kPresent || there.empty()) continue;
    Leave(there.front(), static_cast<Leaving>(number % 3));
    there.pop_front();
  }
}

}  // namespace Siege

// Connections of a stranger, who sends nothing, half a head, or a byte now and then; or who stays when he has
// had an answer.

#include <string>

#include "bench/siege/attacks.h"
#include "bench/siege/client.h"
#include "bench/siege/crowd.h"

namespace Siege {
namespace {

constexpr std::size_t kConnections = 5000;
constexpr std::size_t kOpenAtOnce = 1200;  // more than there are descriptors

// Opens them all, evenly over the time but for the first ones, and holds what isn't closed. `add` makes one.
template <typename Add>
void Open(const Assault& assault, Add add) {
  Crowd crowd(assault.port);
  const auto length = static_cast<std::size_t>((assault.end - assault.begin).count());
  for (std::size_t made = 0; assault.GoesOn();) {
    const auto passed = static_cast<std::size_t>((Clock::now() - assault.begin).count());
    for (const auto due = kOpenAtOnce + (kConnections - kOpenAtOnce) * passed / length; made < due; ++made) {
      add(crowd, made);
      assault.Count();
    }
    crowd.Turn(milliseconds(20));
    assault.Hold(crowd.Size());
  }
}

}  // namespace

void IdleConnections(const Assault& assault) {
  const std::string head =
      "POST /api HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nX-Padding: ";
  const std::string trickle = head + std::string(1000, 'x');
  Open(assault, [&](Crowd& crowd, std::size_t number) {
    if (number % 3 == 0) return crowd.Add("");
    if (number % 3 == 1) return crowd.Add(head);
    crowd.Add(trickle, seconds(2));
  });
}

void AnsweredConnections(const Assault& assault) {
  const auto body =
      R"({"jsonrpc":"2.0","id":1,"method":")" + std::string(kOpenCall) + R"(","params":{"input":{}}})";
  const auto call = Post(body);
  const auto andHalfAHead = call + "POST /api HTTP/1.1\r\nHost: ";
  const auto andHalfABody = call + HalfPost(body.size(), body.substr(0, 10));
  Open(assault, [&](Crowd& crowd, std::size_t number) {
    if (number % 3 == 0) return crowd.Add(call);
    if (number % 3 == 1) return crowd.Add(andHalfAHead);
    crowd.Add(andHalfABody);
  });
}

}  // namespace Siege

// Connections of a stranger, who sends nothing, half a head, or a byte now and then.

#include <string>

#include "bench/siege/attacks.h"
#include "bench/siege/crowd.h"

namespace Siege {
namespace {

constexpr std::size_t kAll = 5000;
constexpr std::size_t kAtOnce = 1200;  // more than there are descriptors

}  // namespace

void IdleConnections(const Assault& assault) {
  const std::string head =
      "POST /api HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nX-Padding: ";
  const std::string trickle = head + std::string(1000, 'x');
  Crowd crowd(assault.port);
  const auto add = [&](std::size_t number) {
    if (number % 3 == 0) return crowd.Add("");
    if (number % 3 == 1) return crowd.Add(head);
    crowd.Add(trickle, seconds(2));
  };
  const auto length = assault.end - assault.begin;
  for (std::size_t made = 0; assault.GoesOn();) {
    const auto due = kAtOnce + (kAll - kAtOnce) *
                                   static_cast<std::size_t>((Clock::now() - assault.begin).count()) /
                                   static_cast<std::size_t>(length.count());
    for (; made < due; ++made) {
      add(made);
      assault.Count();
    }
    crowd.Turn(milliseconds(20));
    assault.Hold(crowd.Size());
  }
}

}  // namespace Siege

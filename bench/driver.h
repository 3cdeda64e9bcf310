#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "bench/receiver.h"

namespace Bench {

struct Pace {
  double perSecond;
  double seconds;
  // At most so many publications on their way to the slowest stream; 0: no matter how many.
  std::size_t window = 0;
};

// Restarts the receiver and sends on an absolute schedule, never earlier. Gives how often.
std::uint64_t Drive(const Pace& pace, Receiver& receiver, const std::function<void()>& send);
// Until so many publications have come to the given number of streams (with 0: were answered), or nothing has
// come for a while.
void Settle(const Receiver& receiver, std::uint64_t publications, std::size_t reachedStreams);
// Sends until each stream has something, and settles. Throws when some stream never has.
void AwaitStreams(Receiver& receiver, const std::function<void()>& send);

}  // namespace Bench

#include "bench/driver.h"

#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "bench/stampedText.h"

namespace Bench {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

constexpr std::uint64_t kQuietNs = 300'000'000;
constexpr int kMostTries = 1000;

// The thread's sleeps end when they should, and not up to 50 us later.
void WakeInTime() {
  prctl(PR_SET_TIMERSLACK, 1);
}

}  // namespace

std::uint64_t Drive(const Pace& pace, Receiver& receiver, const std::function<void()>& send) {
  WakeInTime();
  receiver.Restart();
  const auto begin = steady_clock::now();
  const auto end = begin + nanoseconds(static_cast<std::int64_t>(pace.seconds * 1e9));
  std::uint64_t sent = 0;
  std::uint64_t lost = 0;  // or so late that the window doesn't wait for them
  while (true) {
    const auto offset = static_cast<std::int64_t>(static_cast<double>(sent) * 1e9 / pace.perSecond);
    const auto due = begin + nanoseconds(offset);
    std::this_thread::sleep_until(due);
    if (due >= end || steady_clock::now() >= end) return sent;
    const bool full = pace.window != 0 && sent >= lost + pace.window;
    if (full && !receiver.AwaitComplete(sent + 1 - lost - pace.window)) lost = sent - receiver.Complete();
    send();
    ++sent;
  }
}

void Settle(const Receiver& receiver, std::uint64_t publications, std::size_t reachedStreams) {
  const auto begin = NowNs();
  const auto arrived = [&] {
    return reachedStreams != 0 ? receiver.Deliveries() / reachedStreams : receiver.Answers();
  };
  while (arrived() < publications && NowNs() < std::max(begin, receiver.LastArrival()) + kQuietNs) {
    std::this_thread::sleep_for(milliseconds(1));
  }
}

void AwaitStreams(Receiver& receiver, const std::function<void()>& send) {
  for (int i = 0; i < kMostTries; ++i) {
    send();
    std::this_thread::sleep_for(milliseconds(20));
    if (receiver.Complete() > 0) return Settle(receiver, UINT64_MAX, receiver.Streams());
  }
  throw std::runtime_error("not every stream is there");
}

}  // namespace Bench

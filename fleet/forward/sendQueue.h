#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

#include "fleet/forward/outgoing.h"

namespace Fleet {

// What has come and isn't stored yet. One thread puts, another one takes; what was taken counts until it is
// settled.
class SendQueue final {
 public:
  struct Bounds {
    std::size_t items = 20'000;
    std::size_t bytes = 16 << 20;
  };
  struct Fill {
    std::size_t items = 0;
    std::size_t bytes = 0;
  };

  explicit SendQueue(const Bounds& bounds) : bounds_(bounds) {}

  // Waits for room while some of it becomes free from time to time; false if nothing does, or at a stop.
  bool Put(Outgoing&& item, const std::stop_token& stop, std::chrono::milliseconds patience);
  // The oldest ones, up to the bounds and at least one; none if none comes in the time.
  std::vector<Outgoing> Take(const Fill& most, std::chrono::milliseconds time);
  // So much of what was taken is done; `oldestLeft` is what remains of it.
  void Settle(const Fill& done, std::optional<Moment> oldestLeft);

  // When the oldest one came that isn't settled.
  std::optional<Moment> Oldest() const;
  Fill fill() const;
  // False at a stop.
  bool WaitUntilEmpty(const std::stop_token& stop);

 private:
  bool HasRoom(std::size_t bytes) const;

  const Bounds bounds_;
  mutable std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<Outgoing> items_;
  Fill fill_;
  std::optional<Moment> oldestTaken_;
  std::size_t settlements_ = 0;
};

}  // namespace Fleet

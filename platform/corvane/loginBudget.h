#pragma once

#include <cstdint>
#include <functional>

#include "platform/corvane/mutex.h"
#include "platform/corvane/system.h"

namespace Corvane::System {

// Bounds the time that password checks take from a thread with other work: a bucket of microseconds. It is
// filled by half a hundredth of the time that passes, up to a tenth of a second, and a check is admitted
// while there is anything in it. A check may overdraw it; the debt is then waited off, but for four seconds
// at most, or one slow check would keep everybody out for hours. Safe from any thread.
//
// How long a check took shows whether the host has the name, so Settle makes all that it ends equally long:
// as long as the longest one so far, 10 ms at least and 100 ms at most.
class LoginBudget {
 public:
  // Microseconds that never go back.
  using Clock = std::function<std::int64_t()>;
  // Holds the calling thread for so many of them.
  using Hold = std::function<void(std::int64_t)>;

  explicit LoginBudget(Clock clock, Hold hold = &Sleep);

  enum class Verdict {
    Admitted,
    Refused,
    // The first one since the bucket was full: a flood begins.
    RefusedFirst,
  };

  Verdict Admit();
  // Ends a check that began then and is to be paid for: holds the thread until the check has its length, and
  // charges that.
  void Settle(std::int64_t start);
  void Charge(std::int64_t microseconds);
  // What the last such check took by itself.
  std::int64_t GetLastLength();
  std::int64_t Now() const { return clock_(); }

 private:
  void Refill() CORVANE_REQUIRES(mutex_);
  // Takes a check's own length in, and gives the length that it shall have.
  std::int64_t Lengthen(std::int64_t taken);

  const Clock clock_;
  const Hold hold_;
  Corvane::Mutex mutex_;
  std::int64_t refilledAt_ CORVANE_GUARDED_BY(mutex_);
  std::int64_t balance_ CORVANE_GUARDED_BY(mutex_);
  bool flooded_ CORVANE_GUARDED_BY(mutex_) = false;
  std::int64_t length_ CORVANE_GUARDED_BY(mutex_);
  std::int64_t lastLength_ CORVANE_GUARDED_BY(mutex_) = 0;
};

}  // namespace Corvane::System

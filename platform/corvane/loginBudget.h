#pragma once

#include <cstdint>
#include <functional>
#include <mutex>

namespace Corvane::System {

// Bounds the time that password checks take from a thread with other work: a bucket of microseconds. It is
// filled by half a hundredth of the time that passes, up to a tenth of a second, and a check is admitted
// while there is anything in it. A check may overdraw it; the debt is then waited off, but for four seconds
// at most, or one slow check would keep everybody out for hours. Safe from any thread.
class LoginBudget {
 public:
  // Microseconds that never go back.
  using Clock = std::function<int64_t()>;

  explicit LoginBudget(Clock clock);

  enum class Verdict {
    Admitted,
    Refused,
    // The first one since the bucket was full: a flood begins.
    RefusedFirst,
  };

  Verdict Admit();
  void Charge(int64_t microseconds);
  int64_t Now() const { return clock_(); }

 private:
  void Refill();

  const Clock clock_;
  std::mutex mutex_;
  int64_t refilledAt_;
  int64_t balance_;
  bool flooded_ = false;
};

}  // namespace Corvane::System

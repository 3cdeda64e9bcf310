#include "platform/corvane/loginBudget.h"

#include <algorithm>
#include <utility>

namespace Corvane::System {
namespace {

constexpr int64_t kCapacity = 100'000;
constexpr int64_t kShareOfTime = 200;
constexpr int64_t kLargestDebt = 4'000'000 / kShareOfTime;

}  // namespace

LoginBudget::LoginBudget(Clock clock)
    : clock_(std::move(clock)), refilledAt_(clock_()), balance_(kCapacity) {}

LoginBudget::Verdict LoginBudget::Admit() {
  const std::lock_guard lock(mutex_);
  Refill();
  if (balance_ > 0) return Verdict::Admitted;
  return std::exchange(flooded_, true) ? Verdict::Refused : Verdict::RefusedFirst;
}

void LoginBudget::Charge(int64_t microseconds) {
  const std::lock_guard lock(mutex_);
  Refill();
  balance_ = std::max(balance_ - microseconds, -kLargestDebt);
}

void LoginBudget::Refill() {
  // The remainder stays for the next time, or frequent calls would starve the bucket.
  const int64_t earned = (clock_() - refilledAt_) / kShareOfTime;
  refilledAt_ += earned * kShareOfTime;
  balance_ = std::min(kCapacity, balance_ + earned);
  if (balance_ == kCapacity) flooded_ = false;
}

}  // namespace Corvane::System

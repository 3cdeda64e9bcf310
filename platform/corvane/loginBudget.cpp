#include "platform/corvane/loginBudget.h"

#include <algorithm>
#include <utility>

namespace Corvane::System {
namespace {

constexpr int64_t kCapacity = 100'000;
constexpr int64_t kShareOfTime = 200;

}  // namespace

LoginBudget::LoginBudget(Clock clock)
    : clock_(std::move(clock)), refilledAt_(clock_()), balance_(kCapacity) {}

bool LoginBudget::Admits() {
  const std::lock_guard lock(mutex_);
  Refill();
  return balance_ > 0;
}

void LoginBudget::Charge(int64_t microseconds) {
  const std::lock_guard lock(mutex_);
  Refill();
  balance_ -= microseconds;
}

void LoginBudget::Refill() {
  // The remainder stays for the next time, or frequent calls would starve the bucket.
  const int64_t earned = (clock_() - refilledAt_) / kShareOfTime;
  refilledAt_ += earned * kShareOfTime;
  balance_ = std::min(kCapacity, balance_ + earned);
}

}  // namespace Corvane::System

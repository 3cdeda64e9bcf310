#include "platform/corvane/loginBudget.h"

#include <algorithm>
#include <utility>

namespace Corvane::System {
namespace {

constexpr std::int64_t kCapacity = 100'000;
constexpr std::int64_t kShareOfTime = 200;
constexpr std::int64_t kLargestDebt = 4'000'000 / kShareOfTime;
// Above what today's password hashes take on most hosts.
constexpr std::int64_t kLeastLength = 10'000;
constexpr std::int64_t kMostLength = 100'000;
// One check that something else has held up must not make all others long.
constexpr std::int64_t kStep = 5'000;

}  // namespace

LoginBudget::LoginBudget(Clock clock, Hold hold)
    : clock_(std::move(clock)),
      hold_(std::move(hold)),
      refilledAt_(clock_()),
      balance_(kCapacity),
      length_(kLeastLength) {}

LoginBudget::Verdict LoginBudget::Admit() {
  const Corvane::MutexLock lock(mutex_);
  Refill();
  if (balance_ > 0) return Verdict::Admitted;
  return std::exchange(flooded_, true) ? Verdict::Refused : Verdict::RefusedFirst;
}

void LoginBudget::Settle(std::int64_t start) {
  const std::int64_t taken = clock_() - start;
  const std::int64_t length = Lengthen(taken);
  if (taken < length) hold_(length - taken);
  Charge(clock_() - start);
}

std::int64_t LoginBudget::Lengthen(std::int64_t taken) {
  const Corvane::MutexLock lock(mutex_);
  lastLength_ = taken;
  length_ += std::clamp<std::int64_t>(std::min(taken, kMostLength) - length_, 0, kStep);
  return length_;
}

std::int64_t LoginBudget::GetLastLength() {
  const Corvane::MutexLock lock(mutex_);
  return lastLength_;
}

void LoginBudget::Charge(std::int64_t microseconds) {
  const Corvane::MutexLock lock(mutex_);
  Refill();
  balance_ = std::max(balance_ - microseconds, -kLargestDebt);
}

void LoginBudget::Refill() {
  // The remainder stays for the next time, or frequent calls would starve the bucket.
  const std::int64_t earned = (clock_() - refilledAt_) / kShareOfTime;
  refilledAt_ += earned * kShareOfTime;
  balance_ = std::min(kCapacity, balance_ + earned);
  if (balance_ == kCapacity) flooded_ = false;
}

}  // namespace Corvane::System

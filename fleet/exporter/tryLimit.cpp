#include "fleet/exporter/tryLimit.h"

#include <algorithm>

#include "fleet/exporter/bounds.h"

namespace Fleet {

bool TryLimit::Take(std::optional<uid_t> user, Time now) {
  const Corvane::MutexLock lock(mutex_);
  auto& trier = Find(user, now);
  const std::chrono::duration<double> passed = now - trier.filled;
  trier.left = std::min(kTriesAtOnce, trier.left + passed.count() * kTriesPerSecond);
  trier.filled = now;
  if (trier.left < 1) return false;
  trier.left -= 1;
  return true;
}

void TryLimit::Return(std::optional<uid_t> user) {
  const Corvane::MutexLock lock(mutex_);
  for (auto& trier : triers_) {
    if (trier.user == user) trier.left = std::min(kTriesAtOnce, trier.left + 1);
  }
}

TryLimit::Trier& TryLimit::Find(std::optional<uid_t> user, Time now) {
  const auto found =
      std::find_if(triers_.begin(), triers_.end(), [&](const Trier& other) { return other.user == user; });
  if (found != triers_.end()) {
    triers_.splice(triers_.begin(), triers_, found);
  } else {
    triers_.push_front({user, kTriesAtOnce, now});
    if (triers_.size() > kMostTriers) triers_.pop_back();
  }
  return triers_.front();
}

}  // namespace Fleet

#include "fleet/forward/coverage.h"

#include <algorithm>

namespace Fleet {
namespace {

constexpr std::chrono::seconds kSlack{5};
// A guest answers with two publications a second at least.
constexpr std::chrono::seconds kHistoryPause{10};
// A VM that the daemon hears of only now is asked later, when it has published something.
constexpr std::chrono::minutes kShortestHistory{2};
// A guest can call everything history, which shall not hold up the state for ever.
constexpr std::chrono::minutes kLongestHistory{10};

}  // namespace

Gap GapSince(Moment covered, Moment now, std::chrono::seconds mostGap) {
  const auto gap = std::chrono::ceil<std::chrono::seconds>(std::max(now - covered, Moment::duration::zero()));
  const auto asked = std::min(gap, mostGap);
  return {.pastSeconds = (asked + kSlack).count(), .lost = gap - asked};
}

Moment MomentOf(WallTime time, WallTime wallNow, Moment now, std::chrono::seconds mostGap) {
  if (time > wallNow + kSlack) return now - mostGap;
  const auto age = std::chrono::duration_cast<Moment::duration>(wallNow - time);
  return now - std::max(age, Moment::duration::zero());
}

Coverage::Coverage(Moment covered) : covered_(covered) {}

void Coverage::BeginRound() {
  const std::lock_guard lock(mutex_);
  connected_ = false;
  opened_ = false;
}

void Coverage::OnOpen(Moment now, bool withGap) {
  const std::lock_guard lock(mutex_);
  connected_ = true;
  withGap_ = withGap;
  openedAt_ = now;
  lastHistory_ = now;
  if (opened_) return;
  opened_ = true;
  broken_ = false;
  whole_ = now;
}

void Coverage::OnInterrupted() {
  const std::lock_guard lock(mutex_);
  connected_ = false;
}

void Coverage::OnHistory(Moment now) {
  const std::lock_guard lock(mutex_);
  lastHistory_ = now;
}

void Coverage::OnLook(Moment began, bool dropped) {
  const std::lock_guard lock(mutex_);
  if (dropped) broken_ = true;
  if (!connected_ || began < openedAt_) return;
  if (!broken_) whole_ = began;
  if (IsSettled(began)) covered_ = std::max(covered_, whole_);
}

bool Coverage::IsBroken() const {
  const std::lock_guard lock(mutex_);
  return broken_;
}

Moment Coverage::covered() const {
  const std::lock_guard lock(mutex_);
  return covered_;
}

bool Coverage::IsSettled(Moment now) const {
  if (!withGap_) return true;
  const auto open = now - openedAt_;
  return open >= kLongestHistory || (open >= kShortestHistory && now - lastHistory_ >= kHistoryPause);
}

}  // namespace Fleet

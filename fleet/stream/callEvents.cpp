#include "fleet/stream/callEvents.h"

#include <cstddef>
#include <utility>

namespace Fleet {
namespace {

constexpr std::size_t kMostEvents = 64;

}  // namespace

void CallEvents::Put(CallEvent event, const std::stop_token& stop) {
  Corvane::MutexLock lock(mutex_);
  const auto hasRoom = [this]() CORVANE_REQUIRES(mutex_) { return events_.size() < kMostEvents; };
  if (!changed_.wait(lock.Native(), stop, hasRoom)) return;
  events_.push_back(std::move(event));
  changed_.notify_all();
}

std::optional<CallEvent> CallEvents::Take(const std::stop_token& stop,
                                          std::chrono::steady_clock::time_point until) {
  Corvane::MutexLock lock(mutex_);
  const auto hasEvent = [this]() CORVANE_REQUIRES(mutex_) { return !events_.empty(); };
  if (!changed_.wait_until(lock.Native(), stop, until, hasEvent)) return std::nullopt;
  std::optional<CallEvent> event(std::move(events_.front()));
  events_.pop_front();
  changed_.notify_all();
  return event;
}

void CallEvents::Clear() {
  const Corvane::MutexLock lock(mutex_);
  events_.clear();
  changed_.notify_all();
}

}  // namespace Fleet

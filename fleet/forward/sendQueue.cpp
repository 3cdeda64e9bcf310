#include "fleet/forward/sendQueue.h"

#include <utility>

namespace Fleet {

bool SendQueue::HasRoom(std::size_t bytes) const {
  return fill_.items == 0 || (fill_.items < bounds_.items && fill_.bytes + bytes <= bounds_.bytes);
}

bool SendQueue::Put(Outgoing&& item, const std::stop_token& stop, std::chrono::milliseconds patience) {
  const auto bytes = item.Bytes();
  std::unique_lock lock(mutex_);
  while (!HasRoom(bytes)) {
    const auto before = settlements_;
    if (!changed_.wait_for(lock, stop, patience, [&] { return settlements_ != before; })) return false;
  }
  items_.push_back(std::move(item));
  ++fill_.items;
  fill_.bytes += bytes;
  lock.unlock();
  changed_.notify_all();
  return true;
}

std::vector<Outgoing> SendQueue::Take(const Fill& most, std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, time, [this] { return !items_.empty(); });
  std::vector<Outgoing> batch;
  std::size_t bytes = 0;
  while (!items_.empty() && batch.size() < most.items) {
    bytes += items_.front().Bytes();
    if (!batch.empty() && bytes > most.bytes) break;
    batch.push_back(std::move(items_.front()));
    items_.pop_front();
  }
  if (!batch.empty()) oldestTaken_ = batch.front().received;
  return batch;
}

void SendQueue::Settle(const Fill& done, std::optional<Moment> oldestLeft) {
  {
    const std::lock_guard lock(mutex_);
    fill_.items -= done.items;
    fill_.bytes -= done.bytes;
    oldestTaken_ = oldestLeft;
    ++settlements_;
  }
  changed_.notify_all();
}

std::optional<Moment> SendQueue::Oldest() const {
  const std::lock_guard lock(mutex_);
  if (oldestTaken_) return oldestTaken_;
  if (items_.empty()) return std::nullopt;
  return items_.front().received;
}

SendQueue::Fill SendQueue::fill() const {
  const std::lock_guard lock(mutex_);
  return fill_;
}

bool SendQueue::WaitUntilEmpty(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  return changed_.wait(lock, stop, [this] { return fill_.items == 0; });
}

}  // namespace Fleet

#include "fleet/forward/acknowledgements.h"

#include <utility>

namespace Fleet {

void Acknowledgements::Begin(std::size_t messages) {
  const std::lock_guard lock(mutex_);
  awaited_.clear();
  result_ = {.outcomes = std::vector<Outcome>(messages, Outcome::Again)};
}

void Acknowledgements::Await(const natsMsg* message, std::size_t index) {
  const std::lock_guard lock(mutex_);
  awaited_[message] = index;
}

void Acknowledgements::Settle(const natsMsg* message, Outcome outcome, const std::string& reason) {
  const std::lock_guard lock(mutex_);
  const auto found = awaited_.find(message);
  if (found == awaited_.end()) return;
  result_.outcomes.at(found->second) = outcome;
  if (!reason.empty()) result_.reason = reason;
  awaited_.erase(found);
  if (awaited_.empty()) changed_.notify_all();
}

void Acknowledgements::Forbid(const std::string& reason) {
  const std::lock_guard lock(mutex_);
  result_.forbidden = true;
  result_.reason = reason;
  changed_.notify_all();
}

PublishResult Acknowledgements::Finish(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  const bool heard =
      changed_.wait_for(lock, patience, [this] { return awaited_.empty() || result_.forbidden; });
  if (!heard && result_.reason.empty()) result_.reason = "no acknowledgement in time";
  awaited_.clear();
  return std::exchange(result_, {});
}

}  // namespace Fleet

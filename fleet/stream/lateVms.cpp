#include "fleet/stream/lateVms.h"

namespace Fleet {
namespace {

// A request's body has a bound at the daemon, and so has the memory for VMs that come and go.
constexpr std::size_t kLargestBatch = 1024;
constexpr std::size_t kMostVms = 65536;

}  // namespace

void LateVms::Reset() {
  heard_.clear();
  waiting_.clear();
  due_.reset();
}

void LateVms::HeardLive(const std::string& vm, Time now) {
  if (heard_.size() < kMostVms && heard_.try_emplace(vm, State::Waits).second) AddWaiting(vm, now);
}

void LateVms::HeardHistory(const std::string& vm) {
  const auto known = heard_.find(vm);
  if (known != heard_.end()) {
    known->second = State::Done;
  } else if (heard_.size() < kMostVms) {
    heard_.emplace(vm, State::Done);
  }
}

std::vector<std::string> LateVms::TakeBatch(Time now) {
  std::vector<std::string> batch;
  while (!waiting_.empty() && batch.size() < kLargestBatch) {
    auto& state = heard_[waiting_.front()];
    if (state == State::Waits) batch.push_back(waiting_.front());
    state = State::Done;
    waiting_.pop_front();
  }
  due_ = waiting_.empty() ? std::nullopt : std::optional(now);
  return batch;
}

void LateVms::Return(const std::vector<std::string>& batch, Time now) {
  for (const auto& vm : batch) {
    heard_[vm] = State::Waits;
    AddWaiting(vm, now);
  }
}

void LateVms::AddWaiting(const std::string& vm, Time now) {
  waiting_.push_back(vm);
  if (!due_) due_ = now + gathering_;
}

}  // namespace Fleet

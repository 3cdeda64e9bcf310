#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace Fleet {

// The VMs that have to be asked for their history by a call of their own. A daemon asks those that it has
// heard of since its start, so a VM that is heard live, and hasn't answered, wasn't asked. Each VM is asked
// once a stream.
class LateVms final {
 public:
  using Time = std::chrono::steady_clock::time_point;

  explicit LateVms(std::chrono::milliseconds gathering) : gathering_(gathering) {}

  // A stream opens, and nobody was heard.
  void Reset();
  void HeardLive(const std::string& vm, Time now);
  void HeardHistory(const std::string& vm);

  // When those that wait are to be asked together; nothing if none waits.
  std::optional<Time> Due() const { return due_; }
  // They wait no more.
  std::vector<std::string> TakeBatch(Time now);
  // Asking them has failed: they wait again.
  void Return(const std::vector<std::string>& batch, Time now);

 private:
  enum class State { Waits, Done };

  void AddWaiting(const std::string& vm, Time now);

  const std::chrono::milliseconds gathering_;
  std::unordered_map<std::string, State> heard_;
  std::deque<std::string> waiting_;
  std::optional<Time> due_;
};

}  // namespace Fleet

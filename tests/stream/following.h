#pragma once

#include <atomic>
#include <chrono>
#include <exception>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fleet/stream/follower.h"
#include "testing/eventually.h"

namespace Testing {

// A Follow on a thread of its own, and what its listener was told.
class Following final : private Fleet::Listener {
 public:
  Following(Fleet::Caller caller, Fleet::Wanted wanted, const Fleet::FollowSettings& settings,
            std::size_t most = 0)
      : caller_(std::move(caller)), wanted_(std::move(wanted)), most_(most), thread_([this, settings] {
          try {
            Fleet::Follow(caller_, wanted_, stop_.get_token(), *this, settings);
          } catch (const Fleet::CallFault& fault) {
            fault_ = fault.what();
          }
          ended_ = true;
        }) {}
  Following(const Following&) = delete;
  Following& operator=(const Following&) = delete;
  ~Following() { Stop(); }

  void Stop() {
    stop_.request_stop();
    if (thread_.joinable()) thread_.join();
  }
  bool WaitForEnd() const {
    return Eventually([this] { return ended_.load(); });
  }
  // Requires: has ended.
  const std::string& Fault() const { return fault_; }

  // Each one's VM and payload, in their order.
  std::vector<std::string> Taken() const {
    const std::lock_guard lock(mutex_);
    return taken_;
  }
  bool WaitForTaken(std::size_t count) const {
    return Eventually([&] { return Taken().size() >= count; }, 2 * kEventually);
  }
  std::vector<std::chrono::system_clock::time_point> Opened() const {
    const std::lock_guard lock(mutex_);
    return opened_;
  }
  bool WaitForOpen(std::size_t count) const {
    return Eventually([&] { return Opened().size() >= count; });
  }
  std::size_t Interrupted() const {
    const std::lock_guard lock(mutex_);
    return interrupted_;
  }

 private:
  bool Take(const Fleet::Element& element) override {
    const std::lock_guard lock(mutex_);
    taken_.push_back(element.vm + ' ' + element.payload);
    return taken_.size() != most_;
  }
  void OnInterrupted(const std::string&, std::chrono::milliseconds) override {
    const std::lock_guard lock(mutex_);
    ++interrupted_;
  }
  void OnOpen(std::chrono::system_clock::time_point gapBegin) override {
    const std::lock_guard lock(mutex_);
    opened_.push_back(gapBegin);
  }

  const Fleet::Caller caller_;
  const Fleet::Wanted wanted_;
  const std::size_t most_;
  mutable std::mutex mutex_;
  std::vector<std::string> taken_;
  std::vector<std::chrono::system_clock::time_point> opened_;
  std::size_t interrupted_ = 0;
  std::string fault_;
  std::atomic<bool> ended_ = false;
  std::stop_source stop_;
  std::thread thread_;
};

}  // namespace Testing

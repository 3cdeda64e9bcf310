#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>

namespace GuestAgent {

// How long to wait before the next try: twice as long each time, up to a minute, and by chance between half
// of it and all, so that the VMs of a host that comes back don't come all at once.
class Backoff {
 public:
  explicit Backoff(std::uint32_t seed) : random_(seed) {}

  std::chrono::milliseconds Next() {
    const auto longest = kFirst * (1 << failures_);
    failures_ = std::min(failures_ + 1, kMostDoublings);
    return std::chrono::milliseconds(
        std::uniform_int_distribution<std::int64_t>(longest.count() / 2, longest.count())(random_));
  }
  void Reset() { failures_ = 0; }

 private:
  static constexpr std::chrono::milliseconds kFirst{1000};
  static constexpr int kMostDoublings = 6;  // 64 seconds

  int failures_ = 0;
  std::minstd_rand random_;
};

}  // namespace GuestAgent

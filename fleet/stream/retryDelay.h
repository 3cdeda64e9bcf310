#pragma once

#include <algorithm>
#include <chrono>
#include <random>

namespace Fleet {

// How long to wait before the next try: twice as long each time up to the longest, less up to half by chance.
class RetryDelay final {
 public:
  RetryDelay(std::chrono::milliseconds first, std::chrono::milliseconds longest)
      : first_(first), longest_(longest), next_(first) {}

  std::chrono::milliseconds Next() {
    const auto full = next_;
    next_ = std::min(next_ * 2, longest_);
    return std::chrono::milliseconds(std::uniform_int_distribution<std::chrono::milliseconds::rep>(
        full.count() / 2, full.count())(random_));
  }
  void Reset() { next_ = first_; }

 private:
  const std::chrono::milliseconds first_;
  const std::chrono::milliseconds longest_;
  std::chrono::milliseconds next_;
  std::minstd_rand random_{std::random_device{}()};
};

}  // namespace Fleet

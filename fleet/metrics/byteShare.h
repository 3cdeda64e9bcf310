#pragma once

#include <cstddef>
#include <utility>

namespace Fleet {

// Counts bytes into a sum for as long as it lives. The sum outlives it, and whoever moves or destroys it
// holds the lock that guards the sum.
class ByteShare final {
 public:
  ByteShare(std::size_t& sum, std::size_t bytes) : sum_(&sum), bytes_(bytes) { sum += bytes; }
  ByteShare(ByteShare&& other) noexcept : sum_(other.sum_), bytes_(std::exchange(other.bytes_, 0)) {}
  ByteShare& operator=(ByteShare&& other) noexcept {
    std::swap(sum_, other.sum_);
    std::swap(bytes_, other.bytes_);
    return *this;
  }
  ~ByteShare() { *sum_ -= bytes_; }

  std::size_t Bytes() const { return bytes_; }

 private:
  std::size_t* sum_;
  std::size_t bytes_;
};

}  // namespace Fleet

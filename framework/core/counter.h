#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Mirel {

// A number for onlookers. One thread at a time changes it, so that this takes no locked instruction; any may
// read. Numbers that are read one after the other need not be of the same moment.
class Counter {
 public:
  void Add(std::uint64_t count = 1) noexcept { Set(Read() + count); }
  void Set(std::uint64_t value) noexcept { value_.store(value, std::memory_order_relaxed); }
  std::uint64_t Read() const noexcept { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> value_ = 0;
};

// The alignment of counters that another thread than their neighbours' changes: two cache lines, as
// processors fetch them in pairs.
inline constexpr std::size_t kCounterAlignment = 128;

}  // namespace Mirel

#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace Fleet {

// How many came within the last minute, in slots of five seconds: the oldest slot counts by the share of it
// that is still within the minute.
class SlidingRate final {
 public:
  using Time = std::chrono::steady_clock::time_point;

  void Count(Time now) {
    Advance(now);
    ++slots_[slot_ % kSlots];
  }

  double PerMinute(Time now) const {
    auto copy = *this;
    copy.Advance(now);
    double sum = 0;
    for (std::size_t age = 0; age + 1 < kSlots; ++age)
      sum += copy.slots_[(copy.slot_ + kSlots - age) % kSlots];
    const std::chrono::duration<double> begun = now.time_since_epoch() % kSlot;
    const double share = 1 - begun / std::chrono::duration<double>(kSlot);
    return sum + share * copy.slots_[(copy.slot_ + 1) % kSlots];
  }

 private:
  static constexpr std::chrono::seconds kSlot{5};
  static constexpr std::size_t kSlots = 13;

  void Advance(Time now) {
    const auto slot = static_cast<std::uint64_t>(now.time_since_epoch() / kSlot);
    if (slot - slot_ >= kSlots) {
      slots_.fill(0);
      slot_ = slot;
    }
    while (slot_ < slot) slots_[++slot_ % kSlots] = 0;
  }

  std::array<std::uint32_t, kSlots> slots_{};
  std::uint64_t slot_ = 0;
};

}  // namespace Fleet

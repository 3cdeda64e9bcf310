#pragma once

#include <atomic>
#include <cstdint>

namespace Krell {

// Packets per kSecond for each peer of an endpoint: a token bucket with as many tokens as the rate, kept as
// the one time up to which a peer has used its share (the generic cell rate algorithm). It lies in memory
// that processes share; all zeros is the start. Times are monotonic nanoseconds.
class PeerLimiter {
 public:
  // How long a packet would be refused, or 0. Needs no lock: a peer that floods costs the receiver nothing.
  std::int64_t Delay(std::uint32_t cid, std::int32_t rate, std::int64_t now) const {
    const Slot* slot = Find(cid);
    if (slot == nullptr) return 0;
    const std::int64_t next = Next(slot->usedUpTo.load(std::memory_order_relaxed), rate, now);
    return next > now + kSecond ? next - now - kSecond : 0;
  }

  // Counts a packet, or gives false. One caller at a time.
  bool Take(std::uint32_t cid, std::int32_t rate, std::int64_t now) {
    Slot* slot = const_cast<Slot*>(Find(cid));
    if (slot == nullptr) slot = Claim(cid, now);
    if (slot == nullptr) return false;
    const std::int64_t next = Next(slot->usedUpTo.load(std::memory_order_relaxed), rate, now);
    if (next > now + kSecond) return false;
    slot->usedUpTo.store(next, std::memory_order_relaxed);
    return true;
  }

 private:
  struct Slot {
    std::atomic<std::uint32_t> cid;
    std::atomic<std::int64_t> usedUpTo;
  };

  static constexpr std::int64_t kSecond = 1'000'000'000;
  static constexpr std::uint32_t kSlotBits = 16;
  static constexpr std::uint32_t kSlotMask = (1U << kSlotBits) - 1;
  // A peer's slot is one of these many from its hash on. Should all of them be taken by peers that send
  // right now, the peer is refused.
  static constexpr std::uint32_t kWindow = 16;

  static std::int64_t Next(std::int64_t usedUpTo, std::int32_t rate, std::int64_t now) {
    return (usedUpTo > now ? usedUpTo : now) + kSecond / rate;
  }

  static std::uint32_t Hash(std::uint32_t cid) { return cid * 2654435769U >> (32 - kSlotBits); }

  const Slot* Find(std::uint32_t cid) const {
    for (std::uint32_t i = 0, at = Hash(cid); i < kWindow; ++i) {
      const Slot& slot = slots_[(at + i) & kSlotMask];
      if (slot.cid.load(std::memory_order_relaxed) == cid) return &slot;
    }
    return nullptr;
  }

  // A peer whose time has passed has its whole bucket again, so its slot says no more than a free one.
  Slot* Claim(std::uint32_t cid, std::int64_t now) {
    for (std::uint32_t i = 0, at = Hash(cid); i < kWindow; ++i) {
      Slot& slot = slots_[(at + i) & kSlotMask];
      if (slot.usedUpTo.load(std::memory_order_relaxed) > now) continue;
      slot.usedUpTo.store(0, std::memory_order_relaxed);
      slot.cid.store(cid, std::memory_order_relaxed);
      return &slot;
    }
    return nullptr;
  }

  Slot slots_[kSlotMask + 1];
};

}  // namespace Krell

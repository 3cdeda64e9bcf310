#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_set>

#include "fleet/stream/element.h"

namespace Fleet {

// The newest publications that somebody has had, by their identities.
class Seen final {
 public:
  explicit Seen(std::size_t most) : most_(most) {}

  // Whether it is new; it isn't from now on.
  bool Add(const Element& element);
  std::size_t size() const { return order_.size(); }

 private:
  using Identity = std::array<std::uint64_t, 2>;
  struct Hash {
    // Part of a SHA-256 is as good as any hash of it.
    std::size_t operator()(const Identity& identity) const { return identity[0]; }
  };

  const std::size_t most_;
  std::unordered_set<Identity, Hash> all_;
  std::deque<Identity> order_;
};

}  // namespace Fleet

#include "guest/agent/keeping/numberSet.h"

#include <iterator>

namespace GuestAgent {

bool NumberSet::Contains(std::uint64_t number) const {
  const auto next = ranges_.upper_bound(number);
  return next != ranges_.begin() && std::prev(next)->second >= number;
}

void NumberSet::Add(std::uint64_t number) {
  if (Contains(number)) return;
  auto last = number;
  const auto next = ranges_.upper_bound(number);
  auto before = next == ranges_.begin() ? ranges_.end() : std::prev(next);
  if (next != ranges_.end() && next->first == number + 1) {
    last = next->second;
    ranges_.erase(next);
  }
  if (before != ranges_.end() && before->second + 1 == number) {
    before->second = last;
  } else {
    ranges_.emplace(number, last);
  }
}

void NumberSet::ForEachRange(const std::function<void(std::uint64_t, std::uint64_t)>& take) const {
  for (const auto& [first, last] : ranges_) take(first, last);
}

}  // namespace GuestAgent

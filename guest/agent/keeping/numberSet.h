#pragma once

#include <cstdint>
#include <functional>
#include <map>

namespace GuestAgent {

// Sequence numbers, of which neighbours are one range: those of a day in order cost no more than one.
class NumberSet final {
 public:
  void Add(std::uint64_t number);
  bool Contains(std::uint64_t number) const;
  bool IsEmpty() const { return ranges_.empty(); }
  void ForEachRange(const std::function<void(std::uint64_t first, std::uint64_t last)>& take) const;

 private:
  std::map<std::uint64_t, std::uint64_t> ranges_;
};

}  // namespace GuestAgent

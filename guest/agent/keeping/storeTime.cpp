#include "guest/agent/keeping/storeTime.h"

#include <algorithm>
#include <utility>

namespace GuestAgent {

using std::chrono::milliseconds;

std::optional<milliseconds> StoreTime::Continue(const std::optional<Mark>& last) {
  if (std::exchange(hasContinued_, true) || !last) return std::nullopt;
  const auto passed = std::max(milliseconds(0), clock_.WallTime() - last->wall);
  const auto later = std::max(milliseconds(0), last->store + passed - Now());
  base_ += later;
  return later;
}

}  // namespace GuestAgent

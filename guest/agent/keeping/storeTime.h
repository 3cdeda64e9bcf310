#pragma once

#include <chrono>
#include <optional>

#include "guest/agent/keeping/clock.h"

namespace GuestAgent {

// The store's own time, which counts what has passed since the store was begun. Within a run that is the boot
// clock's, whatever happens to the wall clock; between two runs only the wall clock can tell.
class StoreTime final {
 public:
  explicit StoreTime(const Clock& clock) : clock_(clock), start_(clock.BootTime()) {}

  std::chrono::milliseconds Now() const { return base_ + (clock_.BootTime() - start_); }

  // What a later run goes on from.
  struct Mark {
    std::chrono::milliseconds store{};
    std::chrono::milliseconds wall{};
  };
  Mark Present() const { return {Now(), clock_.WallTime()}; }

  // Goes on from what an earlier run has left, if it left something, and gives by how much it is later now.
  // Only the first call does that and gives anything: what is found later is of this run, which knows better.
  std::optional<std::chrono::milliseconds> Continue(const std::optional<Mark>& last);

 private:
  const Clock& clock_;
  const std::chrono::milliseconds start_;
  std::chrono::milliseconds base_{};
  bool hasContinued_ = false;
};

}  // namespace GuestAgent

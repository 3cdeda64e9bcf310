#pragma once

#include <chrono>

#include "guest/agent/keeping/clock.h"

namespace Testing {

// Two clocks that stand still until somebody sets them.
class ClockDouble final : public GuestAgent::Clock {
 public:
  std::chrono::milliseconds BootTime() const override { return boot; }
  std::chrono::milliseconds WallTime() const override { return wall; }
  void Pass(std::chrono::milliseconds time) {
    boot += time;
    wall += time;
  }

  std::chrono::milliseconds boot{5000};
  std::chrono::milliseconds wall{1'800'000'000'000};
};

}  // namespace Testing

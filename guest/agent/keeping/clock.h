#pragma once

#include <chrono>

namespace GuestAgent {

// The times that the store needs. The boot time goes on while the VM sleeps, and nobody sets it; the wall
// clock may jump. Both in milliseconds.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual std::chrono::milliseconds BootTime() const = 0;
  virtual std::chrono::milliseconds WallTime() const = 0;
};

}  // namespace GuestAgent

#pragma once

#include <chrono>
#include <thread>

namespace Testing {

// For what has to happen, however slow the machine is.
inline constexpr std::chrono::seconds kEventually{20};

// Waits until it holds; false if that doesn't happen in the time.
template <typename Condition>
bool Eventually(Condition condition, std::chrono::milliseconds time = kEventually) {
  const auto deadline = std::chrono::steady_clock::now() + time;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace Testing

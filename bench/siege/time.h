#pragma once

#include <chrono>
#include <thread>

namespace Siege {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

inline double MillisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

inline void Sleep(milliseconds time) {
  std::this_thread::sleep_for(time);
}

}  // namespace Siege

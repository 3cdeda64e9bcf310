#include "platform/corvane/system.h"

#include <unistd.h>

#include <chrono>
#include <thread>

namespace Corvane::System {

void QuickExit(int status) noexcept {
  ::_exit(status);
}

std::int64_t GetMonotonicTime() noexcept {
  const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(sinceStart).count();
}

void Sleep(std::int64_t microseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

}  // namespace Corvane::System

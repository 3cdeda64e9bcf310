#include "platform/corvane/system.h"

#include <unistd.h>

#include <chrono>

namespace Corvane::System {

void QuickExit(int status) noexcept {
  ::_exit(status);
}

int64_t GetMonotonicTime() noexcept {
  const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(sinceStart).count();
}

}  // namespace Corvane::System

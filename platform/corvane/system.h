#pragma once

#include <cstdint>

namespace Corvane::System {

// Ends the process at once: no destructor and no exit handler runs.
[[noreturn]] void QuickExit(int status) noexcept;

// Microseconds of a clock that never goes back; it counts from an arbitrary point.
std::int64_t GetMonotonicTime() noexcept;

// Holds the calling thread for so many microseconds.
void Sleep(std::int64_t microseconds);

}  // namespace Corvane::System

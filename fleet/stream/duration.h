#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace Fleet {

// Sums of times are far from any overflow.
inline constexpr std::chrono::seconds kLongestDuration = std::chrono::hours(24 * 3650);

// A whole number with its unit, "90s", "10m", "2h" or "1d"; without one, seconds. Nothing for any other text,
// and for what is longer than the longest.
std::optional<std::chrono::seconds> ReadDuration(std::string_view text);

}  // namespace Fleet

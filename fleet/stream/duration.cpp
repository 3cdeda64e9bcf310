#include "fleet/stream/duration.h"

#include <charconv>
#include <cstdint>

namespace Fleet {
namespace {

std::int64_t SecondsOf(std::string_view unit) {
  if (unit.empty() || unit == "s") return 1;
  if (unit == "m") return 60;
  if (unit == "h") return 3600;
  return unit == "d" ? 86400 : 0;
}

}  // namespace

std::optional<std::chrono::seconds> ReadDuration(std::string_view text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [unit, fault] = std::from_chars(text.data(), end, number);
  const auto seconds = SecondsOf({unit, end});
  if (fault != std::errc() || seconds == 0) return std::nullopt;
  if (number > kLongestDuration.count() / seconds) return std::nullopt;
  return std::chrono::seconds(number * seconds);
}

}  // namespace Fleet

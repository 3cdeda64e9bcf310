#pragma once

#include <cstdint>
#include <string>

namespace Mirel {

// A point in time in the text form of RFC 3339 ("2026-11-24T21:15:00.250Z", "...+01:00"). The text is kept
// as it was given, so that it reaches readers unchanged.
class DateTime {
 public:
  DateTime() = default;

  // Gives true and fills out when the text is an RFC 3339 date-time of an existing day and time of day (a
  // leap second, ":60", counts as one); otherwise gives false and leaves out alone.
  static bool Create(const std::string& text, DateTime& out);
  // In UTC, to the millisecond.
  static DateTime Create(std::int64_t utcMicroseconds);

  const std::string& ToString() const { return text_; }

 private:
  std::string text_;
};

}  // namespace Mirel

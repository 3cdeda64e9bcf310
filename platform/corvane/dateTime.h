#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/corvane/exception.h"

namespace Corvane {

class DateTimeFormatException final : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Corvane

namespace Corvane::System {

// A point in time, in microseconds since 1970-01-01T00:00:00 UTC; leap seconds do not count.
class DateTime {
 public:
  DateTime() = default;
  explicit DateTime(std::int64_t utcMicroseconds) : microseconds_(utcMicroseconds) {}

  // Reads the text form of RFC 3339, which with "T" and "Z" in upper case is an xs:dateTime with a time zone
  // as well. Digits after the microseconds are cut off. Throws DateTimeFormatException for anything else,
  // and for what this type can't hold: the year 0 and the second 60.
  static DateTime Parse(std::string_view text);
  // Whether the text has that form and names an existing day and time of day, a leap second being one.
  static bool IsRfc3339(std::string_view text);

  std::int64_t GetUtcTime() const { return microseconds_; }

  // In UTC to the millisecond, "2026-11-24T21:15:00.250Z"; what is finer is cut off. The years 1 to 9999
  // have a text; times before and after give the first and the last moment of these.
  std::string ToShortStringBias() const;

  bool operator==(const DateTime&) const = default;
  std::strong_ordering operator<=>(const DateTime& other) const {
    return microseconds_ <=> other.microseconds_;
  }

 private:
  std::int64_t microseconds_ = 0;
};

DateTime GetUtcDateTime();
inline DateTime DateTimeFromUtc(std::int64_t utcMicroseconds) {
  return DateTime(utcMicroseconds);
}

}  // namespace Corvane::System

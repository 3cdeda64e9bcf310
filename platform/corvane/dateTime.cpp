#include "platform/corvane/dateTime.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>

namespace Corvane::System {
namespace {

using std::chrono::microseconds;
using std::chrono::sys_days;

// A date and time of day as it is in the text.
struct Fields {
  std::chrono::year_month_day day{};
  int hour = 0;
  int minute = 0;
  int second = 0;
  std::int64_t fraction = 0;       // microseconds
  std::chrono::minutes offset{0};  // of local time from UTC
};

// Reads RFC 3339 from left to right; each step gives false at the first byte that does not fit.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool Date(std::chrono::year_month_day& day) {
    int year = 0;
    int month = 0;
    int dayOfMonth = 0;
    if (!Number(4, year) || !Literal("-") || !Number(2, month) || !Literal("-") || !Number(2, dayOfMonth)) {
      return false;
    }
    day = std::chrono::year(year) / month / dayOfMonth;
    return day.ok();
  }

  bool Time(Fields& fields) {
    return Number(2, fields.hour) && Literal(":") && Number(2, fields.minute) && Literal(":") &&
           Number(2, fields.second) && Fraction(fields.fraction) && fields.hour < 24 && fields.minute < 60 &&
           fields.second <= 60;
  }

  bool Offset(std::chrono::minutes& offset) {
    if (Literal("Zz")) return true;
    const bool west = !rest_.empty() && rest_.front() == '-';
    int hour = 0;
    int minute = 0;
    if (!Literal("+-") || !Number(2, hour) || !Literal(":") || !Number(2, minute) || hour >= 24 ||
        minute >= 60) {
      return false;
    }
    offset = std::chrono::minutes((west ? -1 : 1) * (hour * 60 + minute));
    return true;
  }

  bool Literal(std::string_view oneOf) {
    if (rest_.empty() || oneOf.find(rest_.front()) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool AtEnd() const { return rest_.empty(); }

 private:
  bool AtDigit() const { return !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9'; }
  int TakeDigit() {
    const int digit = rest_.front() - '0';
    rest_.remove_prefix(1);
    return digit;
  }

  bool Number(int digits, int& value) {
    value = 0;
    for (int i = 0; i < digits; ++i) {
      if (!AtDigit()) return false;
      value = value * 10 + TakeDigit();
    }
    return true;
  }

  bool Fraction(std::int64_t& fraction) {
    if (!Literal(".")) return true;
    if (!AtDigit()) return false;
    for (std::int64_t unit = 100'000; AtDigit(); unit /= 10) fraction += unit * TakeDigit();
    return true;
  }

  std::string_view rest_;
};

std::optional<Fields> Read(std::string_view text) {
  Reader in(text);
  Fields fields;
  if (!in.Date(fields.day) || !in.Literal("Tt ") || !in.Time(fields) || !in.Offset(fields.offset) ||
      !in.AtEnd()) {
    return std::nullopt;
  }
  return fields;
}

constexpr microseconds kFirst = sys_days(std::chrono::year(1) / 1 / 1).time_since_epoch();
constexpr microseconds kLast =
    sys_days(std::chrono::year(10000) / 1 / 1).time_since_epoch() - microseconds(1);

}  // namespace

DateTime DateTime::Parse(std::string_view text) {
  const auto fields = Read(text);
  if (!fields) throw DateTimeFormatException("not a date-time of the form 2026-11-24T21:15:00Z");
  const microseconds time = sys_days(fields->day).time_since_epoch() + std::chrono::hours(fields->hour) +
                            std::chrono::minutes(fields->minute) + std::chrono::seconds(fields->second) +
                            microseconds(fields->fraction) - fields->offset;
  if (fields->second == 60 || time < kFirst || time > kLast) {
    throw DateTimeFormatException("a date-time that cannot be represented");
  }
  return DateTime(time.count());
}

bool DateTime::IsRfc3339(std::string_view text) {
  return Read(text).has_value();
}

std::string DateTime::ToShortStringBias() const {
  const microseconds time = std::clamp(microseconds(microseconds_), kFirst, kLast);
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date{sys_days(day)};
  const std::chrono::hh_mm_ss clock(std::chrono::floor<std::chrono::milliseconds>(time - day));
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
  return text;
}

DateTime GetUtcDateTime() {
  return DateTime(
      std::chrono::duration_cast<microseconds>(std::chrono::system_clock::now().time_since_epoch()).count());
}

}  // namespace Corvane::System

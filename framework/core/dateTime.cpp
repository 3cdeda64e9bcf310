#include "framework/core/dateTime.h"

#include <chrono>
#include <string_view>

namespace Mirel {
namespace {

// Reads RFC 3339 from left to right; each step gives false at the first byte that does not fit.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool Number(std::size_t digits, int& value) {
    if (rest_.size() < digits) return false;
    value = 0;
    for (std::size_t i = 0; i < digits; ++i) {
      if (!IsDigit(rest_[i])) return false;
      value = value * 10 + (rest_[i] - '0');
    }
    rest_.remove_prefix(digits);
    return true;
  }

  bool Literal(std::string_view oneOf) {
    if (rest_.empty() || oneOf.find(rest_.front()) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool OptionalFraction() {
    if (!Literal(".")) return true;
    std::size_t digits = 0;
    while (digits < rest_.size() && IsDigit(rest_[digits])) ++digits;
    rest_.remove_prefix(digits);
    return digits > 0;
  }

  bool AtEnd() const { return rest_.empty(); }

 private:
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

  std::string_view rest_;
};

bool ReadDate(Reader& in) {
  int year = 0;
  int month = 0;
  int day = 0;
  if (!in.Number(4, year) || !in.Literal("-") || !in.Number(2, month) || !in.Literal("-") ||
      !in.Number(2, day)) {
    return false;
  }
  using namespace std::chrono;
  return year_month_day(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                        std::chrono::day(static_cast<unsigned>(day)))
      .ok();
}

bool ReadTime(Reader& in) {
  int hour = 0;
  int minute = 0;
  int second = 0;
  return in.Number(2, hour) && in.Literal(":") && in.Number(2, minute) && in.Literal(":") &&
         in.Number(2, second) && in.OptionalFraction() && hour < 24 && minute < 60 && second <= 60;
}

bool ReadOffset(Reader& in) {
  if (in.Literal("Zz")) return true;
  int hour = 0;
  int minute = 0;
  return in.Literal("+-") && in.Number(2, hour) && in.Literal(":") && in.Number(2, minute) && hour < 24 &&
         minute < 60;
}

}  // namespace

bool DateTime::Create(const std::string& text, DateTime& out) {
  Reader in(text);
  if (!ReadDate(in) || !in.Literal("Tt ") || !ReadTime(in) || !ReadOffset(in) || !in.AtEnd()) return false;
  out.text_ = text;
  return true;
}

}  // namespace Mirel

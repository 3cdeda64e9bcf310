#pragma once

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/numfmt.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/corvane/dateTime.h"
#include "platform/pelagor/templateField.h"

namespace Pelagor {

// One locale's formats. They are costly: each is made when it is first used, and then kept. All give nothing
// when ICU can't format, for want of its data or of memory.
class Formats {
 public:
  explicit Formats(const icu::Locale& locale) : locale_(locale) {}

  std::optional<std::string> Date(Corvane::System::DateTime time, Length length);
  std::optional<std::string> Time(Corvane::System::DateTime time, Length length);
  std::optional<std::string> Integer(std::int64_t value);
  std::optional<std::string> Real(double value, Length length);

 private:
  using DateFormatPtr = std::unique_ptr<icu::DateFormat>;

  // Null on a fault.
  DateFormatPtr MakeDateFormat(icu::DateFormat::EStyle date, icu::DateFormat::EStyle time) const;
  icu::NumberFormat* NumberFormat();

  icu::Locale locale_;
  std::array<DateFormatPtr, 3> dates_;
  std::array<DateFormatPtr, 3> times_;
  std::unique_ptr<icu::NumberFormat> numbers_;
};

}  // namespace Pelagor

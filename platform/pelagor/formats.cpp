#include "platform/pelagor/formats.h"

#include <unicode/gregocal.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cmath>

namespace Pelagor {
namespace {

constexpr std::array kStyles = {icu::DateFormat::kShort, icu::DateFormat::kMedium, icu::DateFormat::kLong};
constexpr std::array kDecimals = {2, 6, 15};

// The first day of the calendar, in milliseconds: 100 million days before 1970, as far as ICU is exact.
constexpr UDate kFirstDay = -8.64e15;

std::size_t Index(Length length) {
  return static_cast<std::size_t>(length);
}

std::optional<std::string> ToUtf8(const icu::UnicodeString& text) {
  if (text.isBogus() || text.isEmpty()) return std::nullopt;
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

std::optional<std::string> Show(const icu::DateFormat* format, Corvane::System::DateTime time) {
  if (!format) return std::nullopt;
  icu::UnicodeString text;
  return ToUtf8(format->format(std::floor(static_cast<double>(time.GetUtcTime()) / 1000), text));
}

// Old days keep the dates of their text form; by default they would get those of the calendar of their time.
void UseGregorianRulesThroughout(icu::DateFormat& format) {
  const auto* calendar = dynamic_cast<const icu::GregorianCalendar*>(format.getCalendar());
  if (!calendar) return;
  auto proleptic = std::make_unique<icu::GregorianCalendar>(*calendar);
  UErrorCode status = U_ZERO_ERROR;
  proleptic->setGregorianChange(kFirstDay, status);
  if (U_SUCCESS(status)) format.adoptCalendar(proleptic.release());
}

}  // namespace

Formats::DateFormatPtr Formats::MakeDateFormat(icu::DateFormat::EStyle date,
                                               icu::DateFormat::EStyle time) const {
  DateFormatPtr format(icu::DateFormat::createDateTimeInstance(date, time, locale_));
  if (format) {
    format->adoptTimeZone(icu::TimeZone::createTimeZone("Etc/UTC"));
    UseGregorianRulesThroughout(*format);
  }
  return format;
}

icu::NumberFormat* Formats::NumberFormat() {
  if (!numbers_) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::NumberFormat> made(icu::NumberFormat::createInstance(locale_, status));
    if (U_SUCCESS(status)) numbers_ = std::move(made);
  }
  return numbers_.get();
}

std::optional<std::string> Formats::Date(Corvane::System::DateTime time, Length length) {
  auto& format = dates_[Index(length)];
  if (!format) format = MakeDateFormat(kStyles[Index(length)], icu::DateFormat::kNone);
  return Show(format.get(), time);
}

std::optional<std::string> Formats::Time(Corvane::System::DateTime time, Length length) {
  auto& format = times_[Index(length)];
  if (!format) format = MakeDateFormat(icu::DateFormat::kNone, kStyles[Index(length)]);
  return Show(format.get(), time);
}

std::optional<std::string> Formats::Integer(std::int64_t value) {
  const auto* format = NumberFormat();
  if (!format) return std::nullopt;
  icu::UnicodeString text;
  return ToUtf8(format->format(value, text));
}

std::optional<std::string> Formats::Real(double value, Length length) {
  auto* format = NumberFormat();
  if (!format) return std::nullopt;
  format->setMaximumFractionDigits(kDecimals[Index(length)]);
  icu::UnicodeString text;
  return ToUtf8(format->format(value, text));
}

}  // namespace Pelagor

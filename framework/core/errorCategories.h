#pragma once

#include <string>
#include <system_error>

namespace Mirel {

enum class FormatError { NamedArgumentNotFound = 1, EmptyNamedSpecifier = 2, TooManySpecifiers = 3 };

// Faults of message templates.
class FormatCategory final : public std::error_category {
 public:
  const char* name() const noexcept override;
  std::string message(int code) const noexcept override;
};

enum class DateTimeError { CreationFailed = 1 };

// Faults of date-times.
class DateTimeCategory final : public std::error_category {
 public:
  const char* name() const noexcept override;
  std::string message(int code) const noexcept override;
};

const std::error_category& GetFormatCategory() noexcept;
const std::error_category& GetDateTimeCategory() noexcept;

inline std::error_code make_error_code(FormatError error) noexcept {
  return {static_cast<int>(error), GetFormatCategory()};
}
inline std::error_code make_error_code(DateTimeError error) noexcept {
  return {static_cast<int>(error), GetDateTimeCategory()};
}

}  // namespace Mirel

namespace Mirel::L10n {

enum class L10nError {
  LocaleNotSupported = 1,
  FormatLocaleNotSupported = 2,
  BadLocaleHeader = 3,
  NoTemplate = 4,
  UnknownMessageId = 5,
  BundleNotLoaded = 6,
  ErrorValueNotLocalized = 7,
};

// Faults of localization. None of them stops an answer: it goes out in the text that was to be had.
class L10nCategory final : public std::error_category {
 public:
  const char* name() const noexcept override;
  std::string message(int code) const noexcept override;
};

const std::error_category& GetL10nCategory() noexcept;

inline std::error_code make_error_code(L10nError error) noexcept {
  return {static_cast<int>(error), GetL10nCategory()};
}

}  // namespace Mirel::L10n

template <>
struct std::is_error_code_enum<Mirel::FormatError> : std::true_type {};
template <>
struct std::is_error_code_enum<Mirel::DateTimeError> : std::true_type {};
template <>
struct std::is_error_code_enum<Mirel::L10n::L10nError> : std::true_type {};

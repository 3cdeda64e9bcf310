#include "framework/core/errorCategories.h"

namespace Mirel {
namespace {

const char* FormatText(FormatError error) {
  switch (error) {
    case FormatError::NamedArgumentNotFound:
      return "Named argument not found.";
    case FormatError::EmptyNamedSpecifier:
      return "Empty Named specifier found.";
    case FormatError::TooManySpecifiers:
      return "More specifiers than expected.";
  }
  return "format error";
}

}  // namespace

const char* FormatCategory::name() const noexcept {
  return "Mirel Format Error";
}

std::string FormatCategory::message(int code) const noexcept {
  return FormatText(static_cast<FormatError>(code));
}

const char* DateTimeCategory::name() const noexcept {
  return "Mirel DateTime Error";
}

std::string DateTimeCategory::message(int code) const noexcept {
  return code == static_cast<int>(DateTimeError::CreationFailed) ? "Failed to create DateTime."
                                                                 : "format error";
}

const std::error_category& GetFormatCategory() noexcept {
  static const FormatCategory category;
  return category;
}

const std::error_category& GetDateTimeCategory() noexcept {
  static const DateTimeCategory category;
  return category;
}

}  // namespace Mirel

namespace Mirel::L10n {
namespace {

const char* L10nText(L10nError error) {
  switch (error) {
    case L10nError::LocaleNotSupported:
      return "Requested locale not supported";
    case L10nError::FormatLocaleNotSupported:
      return "Requested format locale not supported";
    case L10nError::BadLocaleHeader:
      return "Incorrect value of accept-language or mirel-ctx-format-locale header";
    case L10nError::NoTemplate:
      return "Default message formatter - no formatString";
    case L10nError::UnknownMessageId:
      return "Unknown message ID";
    case L10nError::BundleNotLoaded:
      return "Failed to load localization bundle";
    case L10nError::ErrorValueNotLocalized:
      return "Failed to localize ErrorValue";
  }
  return "localization error";
}

}  // namespace

const char* L10nCategory::name() const noexcept {
  return "Mirel Localization Error";
}

std::string L10nCategory::message(int code) const noexcept {
  return L10nText(static_cast<L10nError>(code));
}

const std::error_category& GetL10nCategory() noexcept {
  static const L10nCategory category;
  return category;
}

}  // namespace Mirel::L10n

#pragma once

#include <list>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace Mirel::Core {
struct ExecutionContext;
}  // namespace Mirel::Core

namespace Mirel::L10n {

// Locale names, the most wanted first.
struct LanguagePreference {
  std::vector<std::string> locales;
};

struct TimezoneSpec {
  TimezoneSpec() = default;
  explicit TimezoneSpec(std::string text) : name(std::move(text)) {}
  std::string name;
};

// The language of messages, the locale of numbers and times, and the time zone. The error codes say what was
// wrong with the client's own wishes; the preferences are then the defaults.
struct LocaleSpec {
  LanguagePreference messages;
  LanguagePreference formats;
  TimezoneSpec timezone;
  std::error_code messagesError;
  std::error_code formatsError;
};

struct LocaleHelpers {
  // Reads a list of locale names in the form of an Accept-Language header (RFC 9110, 12.5.4), or one name. An
  // unreadable text sets ec and gives an empty preference.
  static LanguagePreference MakeLanguagePreference(std::string_view text, std::error_code& ec);

  // Gives the name that suits the preference best (RFC 4647, 3.4, with "-" and "_" taken for the same), or an
  // empty text. "en" finds "en_US" when there is no plain "en".
  static std::string Lookup(const std::list<std::string>& names, const LanguagePreference& preference);
};

struct LocaleSpecHelpers {
  // Reads a client's wishes from its application context. What is missing or unreadable has its default:
  // "en_US", "C", "Etc/UTC". The first fault is also in ec.
  static LocaleSpec ExtractLocaleSpec(const Core::ExecutionContext& context, std::error_code& ec);
};

}  // namespace Mirel::L10n

#include "framework/core/locale.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "framework/core/errorCategories.h"
#include "framework/core/executionContext.h"
#include "framework/core/text.h"

namespace Mirel::L10n {
namespace {

// Far above any sane list of languages; a longer one is only there to cost time.
constexpr std::size_t kMaxPreferenceLength = 1024;
constexpr std::size_t kMaxTimezoneLength = 64;

bool IsSeparator(char c) {
  return c == '-' || c == '_';
}

std::string_view Trim(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// "*", or subtags of one to eight letters and digits.
bool IsLocaleName(std::string_view name) {
  if (name == "*") return true;
  std::size_t subtag = 0;
  for (const char c : name) {
    if (IsSeparator(c)) {
      if (subtag == 0) return false;
      subtag = 0;
    } else if (!IsAlnum(c) || ++subtag > 8) {
      return false;
    }
  }
  return subtag > 0;
}

// A weight of RFC 9110, 12.4.2, in thousandths.
bool ReadWeight(std::string_view text, int& thousandths) {
  if (text.empty() || text.size() > 5 || (text[0] != '0' && text[0] != '1')) return false;
  if (text.size() > 1 && text[1] != '.') return false;
  std::string digits(text.substr(0, 1));
  if (text.size() > 2) digits += text.substr(2);
  digits.resize(4, '0');
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), thousandths);
  return error == std::errc() && end == digits.data() + digits.size() && thousandths <= 1000;
}

struct Weighted {
  std::string_view name;
  int thousandths = 1000;
};

bool ReadElement(std::string_view text, Weighted& element) {
  const auto semicolon = text.find(';');
  element.name = Trim(text.substr(0, semicolon));
  if (!IsLocaleName(element.name)) return false;
  if (semicolon == std::string_view::npos) return true;
  auto weight = Trim(text.substr(semicolon + 1));
  if (weight.size() < 2 || (weight[0] != 'q' && weight[0] != 'Q') || weight[1] != '=') return false;
  return ReadWeight(weight.substr(2), element.thousandths);
}

bool ReadElements(std::string_view text, std::vector<Weighted>& elements) {
  if (text.size() > kMaxPreferenceLength) return false;
  while (true) {
    const auto comma = text.find(',');
    const auto element = text.substr(0, comma);
    // The grammar of lists lets empty elements pass (RFC 9110, 5.6.1).
    if (!Trim(element).empty() && !ReadElement(element, elements.emplace_back())) return false;
    if (comma == std::string_view::npos) return !elements.empty();
    text.remove_prefix(comma + 1);
  }
}

bool SameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return (IsSeparator(x) && IsSeparator(y)) || StrICmp({&x, 1}, {&y, 1});
  });
}

// True when the name is the range itself, or the range with more subtags.
bool Extends(std::string_view name, std::string_view range) {
  return name.size() > range.size() && IsSeparator(name[range.size()]) &&
         SameName(name.substr(0, range.size()), range);
}

const std::string* FindName(const std::list<std::string>& names, std::string_view range) {
  auto found =
      std::find_if(names.begin(), names.end(), [&](const auto& name) { return SameName(name, range); });
  if (found == names.end()) {
    found = std::find_if(names.begin(), names.end(), [&](const auto& name) { return Extends(name, range); });
  }
  return found == names.end() ? nullptr : &*found;
}

bool IsTimezoneName(std::string_view name) {
  return !name.empty() && name.size() <= kMaxTimezoneLength &&
         std::all_of(name.begin(), name.end(),
                     [](char c) { return IsAlnum(c) || IsSeparator(c) || c == '/' || c == '+'; });
}

const std::string* FindEntry(const Core::ExecutionContext& context, const char* key) {
  const auto found = context.applicationContext.find(key);
  return found == context.applicationContext.end() ? nullptr : &found->second;
}

// The client's wish, or the default when there is none or it cannot be read.
LanguagePreference Preference(const std::string* wish, const char* otherwise, std::error_code& ec) {
  std::error_code ignored;
  auto preference = wish ? LocaleHelpers::MakeLanguagePreference(*wish, ec) : LanguagePreference{};
  return preference.locales.empty() ? LocaleHelpers::MakeLanguagePreference(otherwise, ignored) : preference;
}

}  // namespace

LanguagePreference LocaleHelpers::MakeLanguagePreference(std::string_view text, std::error_code& ec) {
  std::vector<Weighted> elements;
  if (!ReadElements(text, elements)) {
    ec = L10nError::BadLocaleHeader;
    return {};
  }
  std::erase_if(elements, [](const Weighted& element) { return element.thousandths == 0; });
  std::stable_sort(elements.begin(), elements.end(),
                   [](const Weighted& a, const Weighted& b) { return a.thousandths > b.thousandths; });
  LanguagePreference preference;
  std::transform(elements.begin(), elements.end(), std::back_inserter(preference.locales),
                 [](const Weighted& element) { return std::string(element.name); });
  return preference;
}

std::string LocaleHelpers::Lookup(const std::list<std::string>& names, const LanguagePreference& preference) {
  for (std::string_view range : preference.locales) {
    if (range == "*" && !names.empty()) return names.front();
    while (!range.empty()) {
      if (const auto* name = FindName(names, range)) return *name;
      const auto separator = range.find_last_of("-_");
      range = range.substr(0, separator == std::string_view::npos ? 0 : separator);
    }
  }
  return {};
}

LocaleSpec LocaleSpecHelpers::ExtractLocaleSpec(const Core::ExecutionContext& context, std::error_code& ec) {
  LocaleSpec spec;
  spec.messages = Preference(FindEntry(context, "acceptLanguage"), "en_US", spec.messagesError);
  spec.formats = Preference(FindEntry(context, "formatLocale"), "C", spec.formatsError);
  const auto* timezone = FindEntry(context, "timezone");
  spec.timezone = TimezoneSpec(timezone && IsTimezoneName(*timezone) ? *timezone : "Etc/UTC");
  if (spec.messagesError) {
    ec = spec.messagesError;
  } else if (spec.formatsError) {
    ec = spec.formatsError;
  }
  return spec;
}

}  // namespace Mirel::L10n

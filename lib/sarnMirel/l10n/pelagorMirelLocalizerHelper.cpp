#include "lib/sarnMirel/l10n/pelagorMirelLocalizerHelper.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "framework/core/errorCategories.h"
#include "framework/core/text.h"
#include "platform/corvane/dateTime.h"
#include "platform/corvane/panic.h"
#include "platform/pelagor/locale.h"

namespace SarnMirel {
namespace {

using Mirel::L10n::DateTimeFormat;
using Mirel::L10n::L10nError;
using Mirel::L10n::LanguagePreference;
using Mirel::L10n::TimezoneSpec;
using Names = std::list<std::string>;

const std::string kNotFound = "_pelagor-mirel_error_not_found_";
// What the preference "C" of errors without a client's locale stands for.
const LanguagePreference kEnglish{{"en"}};

// By the values of DateTimeFormat. The management side knows no full form, and shows the long one.
constexpr std::array kDateTimeTemplates = {
    "{1,D,s}", "{1,D,m}", "{1,D,l}",         "{1,D,l}",         "{1,T,s}",         "{1,T,m}",
    "{1,T,l}", "{1,T,l}", "{1,D,s} {2,T,s}", "{1,D,m} {2,T,m}", "{1,D,l} {2,T,l}", "{1,D,l} {2,T,l}",
};

const char* DateTimeTemplate(DateTimeFormat format) {
  const auto index = static_cast<std::size_t>(format);
  if (index >= kDateTimeTemplates.size()) NOT_REACHED();
  return kDateTimeTemplates[index];
}

// The callables of a formatter.
class Formatter {
 public:
  Formatter(Names names, Pelagor::Locale* locale) : names_(std::move(names)), locale_(locale) {}

  std::string Integer(long long value, const LanguagePreference& preference, std::error_code& ec) const {
    if (!Select(preference, ec)) return std::to_string(value);
    return Format("{1,I}", {std::int64_t{value}});
  }

  std::string Real(double value, const LanguagePreference& preference, std::error_code& ec) const {
    if (!Select(preference, ec)) return std::to_string(value);
    return Format("{1,F,l}", {value});
  }

  std::string DateTime(const Mirel::DateTime& value, DateTimeFormat format,
                       const LanguagePreference& preference, std::error_code& ec) const {
    if (!Select(preference, ec)) return value.ToString();
    const auto* text = DateTimeTemplate(format);
    try {
      const auto time = Corvane::System::DateTime::Parse(value.ToString());
      return Format(text, {time, time});
    } catch (const Corvane::DateTimeFormatException&) {
      ec = Mirel::DateTimeError::CreationFailed;
      return "Failed_to_convert_DateTime";
    }
  }

 private:
  // Gives false when no locale suits.
  bool Select(const LanguagePreference& preference, std::error_code& ec) const {
    const auto& wanted = preference.locales;
    const bool plain = wanted.size() == 1 && Mirel::StrICmp(wanted.front(), "C");
    const auto name = Mirel::L10n::LocaleHelpers::Lookup(names_, plain ? kEnglish : preference);
    if (name.empty()) {
      ec = L10nError::FormatLocaleNotSupported;
      return false;
    }
    locale_->Select(name);
    return true;
  }

  std::string Format(const char* text, const std::vector<Pelagor::Argument>& arguments) const {
    return locale_->Format(text, arguments);
  }

  Names names_;
  Pelagor::Locale* locale_;
};

}  // namespace

Mirel::L10n::MessageTemplateCb PelagorMessageTemplateHelper::MakeMessageTemplateCb(Names localeNames,
                                                                                   Pelagor::Locale* locale) {
  return [names = std::move(localeNames), locale](const std::string& id, std::string_view name,
                                                  std::error_code& ec) {
    if (std::find(names.begin(), names.end(), name) == names.end()) {
      ec = L10nError::LocaleNotSupported;
      return id;
    }
    locale->Select(std::string(name));
    auto text = locale->Find(id, kNotFound);
    if (text != kNotFound) return text;
    ec = L10nError::LocaleNotSupported;
    return id;
  };
}

Mirel::L10n::ArgumentFormatter PelagorArgumentFormatterHelper::MakeFormatter(Names localeNames,
                                                                             Pelagor::Locale* locale) {
  const auto formatter = std::make_shared<const Formatter>(std::move(localeNames), locale);
  return {
      [formatter](long long value, const LanguagePreference& preference, std::error_code& ec) {
        return formatter->Integer(value, preference, ec);
      },
      [formatter](double value, long long /*precision*/, const LanguagePreference& preference,
                  std::error_code& ec) { return formatter->Real(value, preference, ec); },
      [formatter](const Mirel::DateTime& value, DateTimeFormat format, const TimezoneSpec& /*zone*/,
                  const LanguagePreference& preference,
                  std::error_code& ec) { return formatter->DateTime(value, format, preference, ec); },
  };
}

}  // namespace SarnMirel

#include "framework/provider/localization.h"

#include <list>
#include <string>

#include "framework/core/errorCategories.h"

namespace Mirel::L10n {

std::shared_ptr<Localizer> LocalizerHelpers::GetDefaultLocalizer() {
  return std::make_shared<Localizer>(std::list<std::string>{"en_US"}, GetDefaultMessageTemplateCb(),
                                     GetDefaultFormatter(), LocalizerSpec{});
}

MessageTemplateCb LocalizerHelpers::GetDefaultMessageTemplateCb() {
  return [](const std::string& id, std::string_view /*locale*/, std::error_code& ec) {
    ec = L10nError::NoTemplate;
    return id;
  };
}

ArgumentFormatter LocalizerHelpers::GetDefaultFormatter() {
  // std::to_string prints as "%lld" and "%f" do.
  return {
      [](long long value, const LanguagePreference&, std::error_code&) { return std::to_string(value); },
      [](double value, long long /*precision*/, const LanguagePreference&, std::error_code&) {
        return std::to_string(value);
      },
      [](const DateTime& value, DateTimeFormat, const TimezoneSpec&, const LanguagePreference&,
         std::error_code&) { return value.ToString(); },
  };
}

RequestLocalizer MakeDefaultRequestLocalizer() {
  LocaleSpec locale;
  locale.messages = LocaleHelpers::MakeLanguagePreference("en_US", locale.messagesError);
  locale.formats = LocaleHelpers::MakeLanguagePreference("C", locale.formatsError);
  locale.timezone = TimezoneSpec("Etc/UTC");
  return {std::make_shared<const Localizer>(), std::move(locale)};
}

}  // namespace Mirel::L10n

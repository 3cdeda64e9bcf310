#include "framework/core/l10n.h"

#include "framework/core/asyncActivation.h"
#include "framework/core/dataValue.h"
#include "framework/core/errorCategories.h"

namespace Mirel::L10n {
namespace {

constexpr long long kDefaultPrecision = 6;

// The first fault is the one to report.
void Keep(std::error_code& ec, const std::error_code& fault) {
  if (!ec) ec = fault;
}

// Renders one argument, by the formatter's function where it has one.
class ArgumentRenderer {
 public:
  ArgumentRenderer(const ArgumentFormatter& formatter, const LocaleSpec& locale, std::error_code& ec)
      : formatter_(formatter), locale_(locale), ec_(ec) {}

  std::string operator()(std::int64_t value) const {
    return formatter_.integer ? formatter_.integer(value, locale_.formats, ec_) : std::to_string(value);
  }
  std::string operator()(double value) const {
    return formatter_.real ? formatter_.real(value, kDefaultPrecision, locale_.formats, ec_)
                           : std::to_string(value);
  }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(const DateTime& value) const {
    return formatter_.dateTime ? formatter_.dateTime(value, DateTimeFormat::MediumDateTime, locale_.timezone,
                                                     locale_.formats, ec_)
                               : value.ToString();
  }

 private:
  const ArgumentFormatter& formatter_;
  const LocaleSpec& locale_;
  std::error_code& ec_;
};

}  // namespace

Localizer::Localizer(std::list<std::string> locales, MessageTemplateCb templates, ArgumentFormatter formatter,
                     LocalizerSpec /*spec*/)
    : locales_(std::move(locales)), templates_(std::move(templates)), formatter_(std::move(formatter)) {}

std::string Localizer::Template(const NamedMessageBuilder& message, const LanguagePreference& wanted,
                                std::error_code& ec) const {
  if (!templates_) return message.defaultMessage.empty() ? message.id : message.defaultMessage;

  std::string locale = LocaleHelpers::Lookup(locales_, wanted);
  std::error_code unsupported;
  if (locale.empty() && !locales_.empty()) {
    if (!wanted.locales.empty()) unsupported = L10nError::LocaleNotSupported;
    locale = locales_.front();
  }
  std::error_code missing;
  std::string text = templates_(message.id, locale, missing);
  if (missing && !message.defaultMessage.empty()) text = message.defaultMessage;
  Keep(ec, missing);
  Keep(ec, unsupported);
  return text;
}

BaseMessage Localizer::Localize(const NamedMessageBuilder& message, const LocaleSpec& locale,
                                std::error_code& ec) const {
  const std::string text = Template(message, locale.messages, ec);
  std::map<std::string, std::string, std::less<>> rendered;
  BaseMessage result;
  result.id = message.id;
  for (const auto& [name, argument] : message.arguments) {
    std::error_code fault;
    auto argumentText = std::visit(ArgumentRenderer(formatter_, locale, fault), argument);
    Keep(ec, fault);
    result.args.push_back(argumentText);
    rendered.emplace(name, std::move(argumentText));
  }
  std::error_code fault;
  result.defaultMessage = FormatNamed(text, rendered, fault);
  Keep(ec, fault);
  return result;
}

std::shared_ptr<const Data::ListValue> LocalizableMessageHelpers::ConvertMessages(
    const std::vector<NamedMessageBuilder>& messages,
    const std::shared_ptr<Core::AsyncActivation>& activation) {
  static const Localizer withoutTemplates;
  const Localizer& localizer = activation->localizer() ? *activation->localizer() : withoutTemplates;
  auto list = Data::ListValue::GetInstance();
  for (const auto& message : messages) {
    // A fault shows in the text; the answer goes out in any case.
    std::error_code ignored;
    list->Add(Data::MessageToValue(localizer.Localize(message, activation->localeSpec(), ignored)));
  }
  return list;
}

}  // namespace Mirel::L10n

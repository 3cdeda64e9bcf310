#include "framework/core/l10n.h"

#include <array>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/errorCategories.h"

namespace Mirel {
namespace {

struct MessageTemplate {
  std::string_view id;
  std::string_view text;
};

constexpr std::string_view kGeneralTemplate = "The request failed: {1}";

constexpr std::array kCoreTemplates = {
    MessageTemplate{"mirel.send.failed", "The response could not be sent: {1}"},
    MessageTemplate{"mirel.receive.failed", "The request could not be received: {1}"},
    MessageTemplate{"mirel.operation.not.found", "The operation {1} does not exist."},
    MessageTemplate{"mirel.service.not.found", "The service {1} does not exist."},
    MessageTemplate{"mirel.service.duplicate", "The service {1} is already there."},
    MessageTemplate{"mirel.input.unexpected", "The arguments do not fit the operation: {1}"},
    MessageTemplate{"mirel.not.found", "Nothing has the identifier {1}."},
};

}  // namespace

std::string FormatNamed(std::string_view text,
                        const std::map<std::string, std::string, std::less<>>& arguments,
                        std::error_code& ec) {
  std::error_code fault;
  const auto note = [&](FormatError error) {
    if (!fault) fault = error;
  };

  std::string out;
  while (true) {
    const auto brace = text.find_first_of("{}");
    out.append(text.substr(0, brace));
    if (brace == std::string_view::npos) break;
    text.remove_prefix(brace);

    const bool doubled = text.size() > 1 && text[1] == text[0];
    const auto close = text[0] == '{' && !doubled ? text.find('}') : std::string_view::npos;
    if (close == std::string_view::npos) {
      out.push_back(text[0]);
      text.remove_prefix(doubled ? 2 : 1);
      continue;
    }

    const auto name = text.substr(1, close - 1);
    const auto argument = arguments.find(name);
    if (!name.empty() && argument != arguments.end()) {
      out.append(argument->second);
    } else {
      note(name.empty() ? FormatError::EmptyNamedSpecifier : FormatError::NamedArgumentNotFound);
      out.append(text.substr(0, close + 1));
    }
    text.remove_prefix(close + 1);
  }
  if (fault) ec = fault;
  return out;
}

std::string Message<CoreTag>::DefaultMessageForId(std::string_view id) {
  for (const auto& entry : kCoreTemplates) {
    if (entry.id == id) return std::string(entry.text);
  }
  return std::string(kGeneralTemplate);
}

}  // namespace Mirel

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

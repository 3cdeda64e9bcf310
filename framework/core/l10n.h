#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>
#include <vector>

#include "framework/core/dataValue.h"
#include "framework/core/dateTime.h"
#include "framework/core/locale.h"

namespace Mirel::Core {
class AsyncActivation;
}  // namespace Mirel::Core

namespace Mirel {

// The value of a named argument; its index is its tag: 0 integer, 1 real, 2 string, 3 date-time.
using MsgArgument = std::variant<std::int64_t, double, std::string, DateTime>;

// An error's message on its way to the localizer. An empty default message leaves the text to the template
// that the localizer finds for the id.
struct NamedMessageBuilder {
  std::string id;
  std::string defaultMessage;
  std::map<std::string, MsgArgument> arguments;
};

// Replaces each field "{name}" by its argument, and "{{" and "}}" by single braces, in one pass: an
// argument's own braces are text. A field that is empty or has no argument, and a lone brace, stay as they
// are. The first faulty field sets ec.
std::string FormatNamed(std::string_view text,
                        const std::map<std::string, std::string, std::less<>>& arguments,
                        std::error_code& ec);

// The texts that a library holds for its message identifiers; each library has its own tag and specialises
// this. A template has one field for one argument, and an unknown identifier has a general template.
template <typename Tag>
struct Message;

struct CoreTag;

template <>
struct Message<CoreTag> {
  static std::string DefaultMessageForId(std::string_view id);
};

}  // namespace Mirel

namespace Mirel::L10n {

// Which parts of a point in time are shown, and how long.
enum class DateTimeFormat {
  ShortDate = 0,
  MediumDate = 1,
  LongDate = 2,
  FullDate = 3,
  ShortTime = 4,
  MediumTime = 5,
  LongTime = 6,
  FullTime = 7,
  ShortDateTime = 8,
  MediumDateTime = 9,
  LongDateTime = 10,
  FullDateTime = 11,
};

// How arguments become text.
struct ArgumentFormatter {
  std::function<std::string(long long value, const LanguagePreference&, std::error_code&)> integer;
  std::function<std::string(double value, long long precision, const LanguagePreference&, std::error_code&)>
      real;
  std::function<std::string(const DateTime&, DateTimeFormat, const TimezoneSpec&, const LanguagePreference&,
                            std::error_code&)>
      dateTime;
};

// Gives the template of a message id in a locale.
using MessageTemplateCb =
    std::function<std::string(const std::string& id, std::string_view locale, std::error_code& ec)>;

struct LocalizerSpec {};

// Renders messages. Immutable, shared by all calls, usable from any thread. A default-constructed one knows
// no templates: a message then keeps its default text, or shows its id.
class Localizer {
 public:
  Localizer() = default;
  Localizer(std::list<std::string> locales, MessageTemplateCb templates, ArgumentFormatter formatter,
            LocalizerSpec spec);

  // Fills the template's named fields ("{name}", with "{{" and "}}" for braces) with the arguments. A field
  // without an argument stays as it is, and sets ec; a lone brace stays as it is too, and is no error. The
  // first fault is kept in ec, which is never cleared; the text is as good as it can be in any case.
  BaseMessage Localize(const NamedMessageBuilder& message, const LocaleSpec& locale,
                       std::error_code& ec) const;

 private:
  std::string Template(const NamedMessageBuilder& message, const LanguagePreference& wanted,
                       std::error_code& ec) const;

  std::list<std::string> locales_;
  MessageTemplateCb templates_;
  ArgumentFormatter formatter_;
};

// A localizer together with one request's wishes.
struct RequestLocalizer {
  std::shared_ptr<const Localizer> localizer;
  LocaleSpec locale;
};

struct LocalizableMessageHelpers {
  // Renders the messages with the call's own localizer and wishes. Gives a list of message structures, ready
  // to be the field "messages" of an error.
  static std::shared_ptr<const Data::ListValue> ConvertMessages(
      const std::vector<NamedMessageBuilder>& messages,
      const std::shared_ptr<Core::AsyncActivation>& activation);
};

}  // namespace Mirel::L10n

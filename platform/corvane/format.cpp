#include "platform/corvane/format.h"

namespace Corvane::Detail {

std::string Expand(std::string_view format, std::span<const FormatArgument> arguments) {
  std::size_t size = format.size();
  for (const FormatArgument& argument : arguments) size += argument.Text().size();
  std::string text;
  text.reserve(size);
  for (std::size_t at = 0; at < format.size();) {
    const std::size_t percent = format.find('%', at);
    if (percent == std::string_view::npos || percent + 1 == format.size()) {
      text.append(format.substr(at));
      break;
    }
    text.append(format.substr(at, percent - at));
    const char digit = format[percent + 1];
    if (digit >= '1' && digit <= '9' && static_cast<std::size_t>(digit - '1') < arguments.size()) {
      text.append(arguments[static_cast<std::size_t>(digit - '1')].Text());
      at = percent + 2;
    } else {
      text.push_back('%');
      at = percent + 1;
    }
  }
  return text;
}

}  // namespace Corvane::Detail

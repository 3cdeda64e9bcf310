#include "framework/core/l10n.h"

#include "framework/core/errorCategories.h"

namespace Mirel {

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

}  // namespace Mirel

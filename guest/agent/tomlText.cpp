#include "guest/agent/tomlText.h"

#include <algorithm>

#include "guest/agent/configurationFault.h"
#include "platform/corvane/textEscape.h"

namespace GuestAgent {
namespace {

ConfigurationFault FaultAt(const std::string& name, std::size_t line, std::string_view what) {
  return ConfigurationFault(name + ":" + std::to_string(line) + ": " + Corvane::Detail::EscapeLine(what));
}

// The end of the text in quotes that begins at a place of a line, or of the line.
std::size_t EndOfQuotes(std::string_view line, std::size_t at) {
  const char quote = line[at];
  for (++at; at < line.size() && line[at] != quote; ++at) {
    if (quote == '"' && line[at] == '\\') ++at;
  }
  return at;
}

// What may not stand in a line, if something does.
const char* FaultOfLine(std::string_view line) {
  std::size_t at = 0;
  for (; at < line.size() && line[at] != '#'; ++at) {
    const auto quotes = line.substr(at, 3);
    if (quotes == "\"\"\"" || quotes == "'''") return "a text has to end on its line";
    if (line[at] == '"' || line[at] == '\'') at = EndOfQuotes(line, at);
  }
  const auto before = line.substr(0, at);
  const bool isAscii = std::none_of(before.begin(), before.end(), [](unsigned char c) { return c >= 0x80; });
  return isAscii ? nullptr : "outside of comments, letters beyond ASCII are written as \\u00fc";
}

// The library has no defined behaviour for letters beyond ASCII where it looks for blanks. It never does in
// comments.
void RefuseStrayLetters(std::string_view text, const std::string& name) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    const auto end = std::min(text.find('\n'), text.size());
    if (const char* fault = FaultOfLine(text.substr(0, end))) throw FaultAt(name, number, fault);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

toml::table ParseToml(std::string_view text, const std::string& name) {
  RefuseStrayLetters(text, name);
  try {
    return toml::parse(text, name);
  } catch (const toml::parse_error& error) {
    throw FaultAt(name, error.source().begin.line, error.description());
  }
}

}  // namespace GuestAgent

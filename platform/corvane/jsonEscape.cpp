#include "platform/corvane/jsonEscape.h"

#include <array>
#include <boost/locale/utf.hpp>
#include <cstdint>
#include <cstdio>

#include "platform/corvane/textEscape.h"

namespace Corvane::Detail {
namespace {

// In UTF-16, as JSON's escapes are (RFC 8259, 7).
std::string Escape(std::uint32_t character) {
  std::array<char, 13> text{};
  if (character < 0x10000) {
    std::snprintf(text.data(), text.size(), "\\u%04x", character);
  } else {
    const auto offset = character - 0x10000;
    std::snprintf(text.data(), text.size(), "\\u%04x\\u%04x", 0xd800 + (offset >> 10),
                  0xdc00 + (offset & 0x3ff));
  }
  return text.data();
}

}  // namespace

std::string TakeForJson(const char*& at, const char* end) {
  namespace Utf = boost::locale::utf;
  const char* const start = at;
  const auto character = Utf::utf_traits<char>::decode(at, end);
  if (!Utf::is_valid_codepoint(character)) {
    // One byte at a time, so that a good character right after a bad byte is not lost.
    at = start + 1;
    return "\xEF\xBF\xBD";
  }
  const std::string_view text(start, static_cast<std::size_t>(at - start));
  return IsPlainLine(text) ? std::string(text) : Escape(character);
}

std::string EscapeJson(std::string_view json) {
  if (IsPlainLine(json)) return std::string(json);
  std::string escaped;
  const char* at = json.data();
  for (const char* const end = at + json.size(); at != end;) escaped += TakeForJson(at, end);
  return escaped;
}

}  // namespace Corvane::Detail

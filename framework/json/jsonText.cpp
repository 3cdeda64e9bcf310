#include "framework/json/jsonText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace Mirel::Protocol::Json {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

bool IsPlain(unsigned char byte) {
  return byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\';
}

bool IsContinuation(unsigned char byte) {
  return (byte & 0xC0U) == 0x80U;
}

// The length of the well-formed UTF-8 sequence (RFC 3629) at the start of the text; 0 when there is none.
std::size_t SequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (!IsContinuation(byte(i))) return 0;
  }
  // Overlong forms, surrogates, and what lies above U+10FFFF.
  const auto second = byte(1);
  if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
      (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F)) {
    return 0;
  }
  return length;
}

void AppendEscape(unsigned char byte, ORange& out) {
  switch (byte) {
    case '"':
      return out.Append("\\\"");
    case '\\':
      return out.Append("\\\\");
    case '\n':
      return out.Append("\\n");
    case '\r':
      return out.Append("\\r");
    case '\t':
      return out.Append("\\t");
    default:
      break;
  }
  constexpr char kDigits[] = "0123456789abcdef";
  const std::array<char, 6> escape{'\\', 'u', '0', '0', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
  out.Append(std::string_view(escape.data(), escape.size()));
}

}  // namespace

void AppendString(std::string_view text, ORange& out) {
  out.Append('"');
  while (!text.empty()) {
    std::size_t plain = 0;
    while (plain < text.size() && IsPlain(static_cast<unsigned char>(text[plain]))) ++plain;
    out.Append(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.empty()) break;
    const auto length = SequenceLength(text);
    if (length == 0) {
      out.Append(kReplacement);
      text.remove_prefix(1);
    } else if (length == 1) {
      AppendEscape(static_cast<unsigned char>(text[0]), out);
      text.remove_prefix(1);
    } else {
      out.Append(text.substr(0, length));
      text.remove_prefix(length);
    }
  }
  out.Append('"');
}

void AppendDouble(double value, ORange& out) {
  if (!std::isfinite(value)) return out.Append("null");
  std::array<char, 32> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  const std::string_view text(digits.data(), static_cast<std::size_t>(end - digits.data()));
  out.Append(text);
  if (text.find_first_of(".e") == std::string_view::npos) out.Append(".0");
}

}  // namespace Mirel::Protocol::Json

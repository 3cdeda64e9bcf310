#include "platform/corvane/textEscape.h"

#include <algorithm>
#include <array>
#include <boost/locale/utf.hpp>
#include <cstdint>

namespace Corvane::Detail {
namespace {

namespace Utf = boost::locale::utf;
using Traits = Utf::utf_traits<char>;

bool IsPlainAscii(char c) {
  return c >= 0x20 && c < 0x7f;
}

// C1 controls, line and paragraph separators, marks, embeddings, overrides and isolates of direction.
bool IsUnsafe(std::uint32_t codePoint) {
  return codePoint == 0x61c || codePoint == 0x200e || codePoint == 0x200f || codePoint < 0x20 ||
         (codePoint >= 0x7f && codePoint < 0xa0) || (codePoint >= 0x2028 && codePoint <= 0x202e) ||
         (codePoint >= 0x2066 && codePoint <= 0x2069);
}

void AppendHex(std::string& out, char kind, std::uint32_t value, int digits) {
  out.push_back('\\');
  out.push_back(kind);
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
    out.push_back("0123456789abcdef"[(value >> shift) & 0xf]);
  }
}

void AppendEscape(std::string& out, std::uint32_t codePoint) {
  switch (codePoint) {
    case '\n':
      out.append("\\n");
      break;
    case '\r':
      out.append("\\r");
      break;
    case '\t':
      out.append("\\t");
      break;
    default:
      codePoint < 0x80 ? AppendHex(out, 'x', codePoint, 2) : AppendHex(out, 'u', codePoint, 4);
  }
}

// Where the first byte that can't stay as it is begins, or the end.
const char* FindUnsafe(const char* at, const char* end) {
  while (true) {
    at = std::find_if_not(at, end, IsPlainAscii);
    if (at == end) return end;
    const char* next = at;
    const Utf::code_point codePoint = Traits::decode(next, end);
    if (!Utf::is_valid_codepoint(codePoint) || IsUnsafe(codePoint)) return at;
    at = next;
  }
}

}  // namespace

bool IsPlainLine(std::string_view text) {
  const char* end = text.data() + text.size();
  return FindUnsafe(text.data(), end) == end;
}

std::string EscapeLine(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  const char* at = text.data();
  const char* const end = at + text.size();
  while (true) {
    const char* unsafe = FindUnsafe(at, end);
    out.append(at, unsafe);
    if (unsafe == end) return out;
    at = unsafe;
    const Utf::code_point codePoint = Traits::decode(at, end);
    if (Utf::is_valid_codepoint(codePoint)) {
      AppendEscape(out, codePoint);
    } else {
      // One byte at a time, so that a good character right after a bad byte is not lost.
      at = unsafe + 1;
      AppendHex(out, 'x', static_cast<unsigned char>(*unsafe), 2);
    }
  }
}

std::string EscapeName(std::string_view name) {
  constexpr std::size_t kMaxBytes = 256;
  constexpr std::size_t kLongestCharacter = 4;
  // No escape is shorter than what it stands for.
  std::string shown = EscapeLine(name.substr(0, kMaxBytes + kLongestCharacter));
  if (shown.size() <= kMaxBytes) return shown;
  std::size_t end = kMaxBytes;
  while ((static_cast<unsigned char>(shown[end]) & 0xc0) == 0x80) --end;
  return shown.erase(end).append("...");
}

}  // namespace Corvane::Detail

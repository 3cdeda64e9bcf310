#pragma once

#include <string>
#include <string_view>

namespace Corvane::Detail {

// Requires: the text is not empty. Takes its next character, and gives what stands for it in a JSON string
// that may be shown on a terminal: U+FFFD for a byte that is no UTF-8, JSON's escape (RFC 8259, 7) for what
// IsPlainLine objects to, and itself for anything else, quotes and backslashes included.
std::string TakeForJson(const char*& at, const char* end);

// A JSON text on one line with its strings so written, which reads as the same value.
std::string EscapeJson(std::string_view json);

}  // namespace Corvane::Detail

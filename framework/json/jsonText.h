#pragma once

#include <string>
#include <string_view>

#include "framework/core/oRange.h"

namespace Mirel::Protocol::Json {

// Appends a JSON string (RFC 8259, 7) with its quotes. The result is always valid UTF-8: each byte that is
// not part of a valid sequence, as guests may send it, becomes U+FFFD.
void AppendString(std::string_view text, ORange& out);

// Appends a number that always shows that it is a real one. What JSON has no number for becomes null.
void AppendDouble(double value, ORange& out);

}  // namespace Mirel::Protocol::Json

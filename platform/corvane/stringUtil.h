#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/corvane/exception.h"

namespace Corvane {

class Base64FormatException final : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Corvane

namespace Corvane::StringUtil {

// Two lower-case digits a byte.
std::string HexEncode(std::span<const unsigned char> bytes);

// Base64 as in crypto.h; the decoder throws Base64FormatException.
std::string Base64Encode(std::string_view bytes);
std::string Base64Decode(std::string_view text);

// A random identifier (RFC 4122, version 4) in lower case: "0f8fad5b-d9cb-469f-a165-70867728950e". Nobody can
// guess it. Ends the process when there is no randomness to be had.
std::string GenerateUuid();

// Identifiers that tie log lines of one operation together: 16 digits for an operation, 8 for a call within
// another one. Random, but short: they name, and must not protect, anything.
std::string GenerateOpId();
std::string GenerateShortOpId();

}  // namespace Corvane::StringUtil

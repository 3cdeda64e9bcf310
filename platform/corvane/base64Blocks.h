#pragma once

#include <cstddef>

namespace Corvane::Detail {

// Decodes base64 (RFC 4648 section 4) from the start of the text, 32 characters at a time, for as long as all
// of them are of the alphabet, and leaves at least one group of four to the caller: padding and faults are
// his. Gives the number of characters decoded, a multiple of 32; 0 on a processor without AVX2. Requires:
// `out` has room for three bytes for each four characters of the whole text.
std::size_t DecodeBase64Blocks(const char* text, std::size_t length, unsigned char* out);

}  // namespace Corvane::Detail

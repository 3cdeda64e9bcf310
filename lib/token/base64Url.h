#pragma once

#include <string>
#include <string_view>

namespace NornToken {

// Puts the bytes of a base64url text (RFC 7515, 2) into an empty string. Strict, so that no two texts stand
// for the same bytes: no padding, no other alphabet, no blanks, and the bits after the last byte are zero.
// False otherwise. The string is not moved in memory while it grows.
bool DecodeBase64Url(std::string_view text, std::string& bytes);

}  // namespace NornToken

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace NornToken {

/// The bytes of a base64url text (RFC 7515, 2). Strict, so that no two texts stand for the same bytes: no
/// padding, no other alphabet, no blanks, and the bits behind the last byte are zero. Nothing otherwise.
std::optional<std::string> DecodeBase64Url(std::string_view text);

}  // namespace NornToken

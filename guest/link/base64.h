#pragma once

#include <string>
#include <string_view>

namespace GuestLink {

// Base64 of RFC 4648, section 4, with its padding.
std::string EncodeBase64(std::string_view bytes);
// False if the text is anything else; blanks are.
bool DecodeBase64(std::string_view text, std::string& bytes);

}  // namespace GuestLink

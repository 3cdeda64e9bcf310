#pragma once

#include <string>
#include <string_view>
#include <system_error>

#include <boost/system/error_code.hpp>

namespace Mirel {

// ASCII only: header names and values are not localized.
void InplaceLower(char* begin, char* end);

// True when equal without regard to the case of ASCII letters.
bool StrICmp(std::string_view a, std::string_view b);

inline bool IsAlnum(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Whether the byte is one of ASCII's control characters, a tab among them.
inline bool IsControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

// True when the text holds the part.
inline bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// For logs: "category:code message".
std::string StringOfError(const std::error_code& error);
std::string StringOfError(const boost::system::error_code& error);

}  // namespace Mirel

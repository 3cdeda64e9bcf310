#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <span>
#include <string>
#include <string_view>

namespace Corvane::Detail {

// The text form of one argument: a view of the caller's text, or the digits of a number kept here.
// It must not outlive the full expression that makes it.
class FormatArgument {
 public:
  FormatArgument(std::string_view text) : text_(text) {}
  FormatArgument(const std::string& text) : text_(text) {}
  FormatArgument(const char* text) : text_(text != nullptr ? std::string_view(text) : "(null)") {}
  FormatArgument(bool value) : text_(value ? "true" : "false") {}
  FormatArgument(char value) {
    digits_[0] = value;
    text_ = std::string_view(digits_.data(), 1);
  }
  template <std::integral T>
  FormatArgument(T value) {
    const char* end = std::to_chars(digits_.data(), digits_.data() + digits_.size(), value).ptr;
    text_ = std::string_view(digits_.data(), end);
  }
  FormatArgument(const FormatArgument&) = delete;
  FormatArgument& operator=(const FormatArgument&) = delete;

  std::string_view Text() const { return text_; }

 private:
  std::array<char, 20> digits_{};  // enough for the longest 64-bit number with its sign
  std::string_view text_;
};

std::string Expand(std::string_view format, std::span<const FormatArgument> arguments);

// Replaces %1 to %9 by the arguments: integers in decimal, text as it is, bool as true or false. Arguments
// are inserted literally and never looked at again, so they may hold anything, placeholders included. A
// placeholder without an argument, and any other use of the percent sign, stays as it is.
template <typename... Args>
std::string ASPrintInternal(std::string_view format, const Args&... args) {
  if constexpr (sizeof...(Args) == 0) {
    return Expand(format, {});
  } else {
    static_assert(sizeof...(Args) <= 9);
    const FormatArgument arguments[] = {FormatArgument(args)...};
    return Expand(format, arguments);
  }
}

}  // namespace Corvane::Detail

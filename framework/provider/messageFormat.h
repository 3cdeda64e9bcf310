#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

#include "framework/core/dataValue.h"

namespace Mirel::Detail {

// One argument of FormatTo, not owned, and the function that prints it.
struct format_arg {
  const void* value;
  void (*print)(std::ostream& out, std::string_view spec, const void* value);
};

// Fills a template's fields with the arguments. A field is "{}" for the next argument, "{2}" for the second
// one, "{2:spec}" with a spec for its print function; "{{" and "}}" give braces. A field without an argument
// sets ec and ends the output there; ec is never cleared.
//
// Requires: the template is program text, like the format of printf. A field's spec goes to printf as it is.
void FormatTo(std::ostream& out, std::string_view text, const format_arg* args, std::size_t count,
              std::error_code& ec);

template <typename T, bool Numeric>
struct formatter;

// Prints a string: whole without a spec, else as the printf conversion "%<spec>s", which ends at a NUL.
template <>
struct formatter<std::string, false> {
  static void call(std::ostream& out, std::string_view spec, const void* value);
};

BaseMessage MakeMessageOf(const std::string& id, const std::string& text, std::span<const std::string> args);

}  // namespace Mirel::Detail

namespace Mirel {

// Makes a message of a template and its arguments. The template is program text (see FormatTo); arguments
// may come from anywhere. A faulty template gives a text cut short at the fault.
template <std::convertible_to<std::string>... Args>
BaseMessage MakeMessage(const std::string& id, const std::string& text, const Args&... args) {
  const std::array<std::string, sizeof...(Args)> texts{std::string(args)...};
  return Detail::MakeMessageOf(id, text, texts);
}

}  // namespace Mirel

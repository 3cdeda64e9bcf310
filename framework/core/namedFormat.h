#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <system_error>

namespace Mirel {

// Replaces each field "{name}" by its argument, and "{{" and "}}" by single braces, in one pass: an
// argument's own braces are text. A field that is empty or has no argument, and a lone brace, stay as they
// are. The first faulty field sets ec.
std::string FormatNamed(std::string_view text,
                        const std::map<std::string, std::string, std::less<>>& arguments,
                        std::error_code& ec);

}  // namespace Mirel

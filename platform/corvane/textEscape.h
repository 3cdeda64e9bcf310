#pragma once

#include <string>
#include <string_view>

namespace Corvane::Detail {

// Whether the text can be shown on one line of a terminal as it is: well-formed UTF-8 with no control
// characters, line or paragraph separators, or marks that change the direction of writing.
bool IsPlainLine(std::string_view text);

// The text on one line: what IsPlainLine objects to is written as an escape in the manner of C, such as \n,
// \x1b and \u202e. Backslashes of the text itself stay single.
std::string EscapeLine(std::string_view text);

// The same of a name that a stranger has chosen: what goes beyond 256 bytes in that form is cut off, with
// "..." at its end.
std::string EscapeName(std::string_view name);

}  // namespace Corvane::Detail

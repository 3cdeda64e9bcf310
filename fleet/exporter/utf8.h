#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Fleet {

bool IsUtf8(std::string_view text);

// The longest beginning of at most so many bytes that doesn't end inside a character. Requires: UTF-8.
std::string_view CutUtf8(std::string_view text, std::size_t most);

// A stranger's short text as it can be kept and shown: U+FFFD for each byte that isn't UTF-8, and cut to so
// many bytes with U+2026 at its end.
std::string ShortText(std::string_view text, std::size_t most);

}  // namespace Fleet

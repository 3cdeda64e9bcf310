#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace GuestAgent {

// The whole lines of a file that the kernel makes, of its first 256 KiB; empty if it can't be read.
std::string ReadKernelFile(const std::string& path);

// Cuts off the text's first line and gives it without its line feed. Requires: the text isn't empty.
std::string_view TakeLine(std::string_view& text);

// The pieces between blanks.
std::vector<std::string_view> Words(std::string_view line);

// What follows `key` in the first line that begins with it; empty if there is none.
std::string_view AfterKey(std::string_view text, std::string_view key);

// The unsigned number that the text is, or that its first word is.
std::optional<std::uint64_t> ToNumber(std::string_view text);
std::optional<std::uint64_t> FirstNumber(std::string_view text);

}  // namespace GuestAgent

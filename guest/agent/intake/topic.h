#pragma once

#include <string_view>

namespace GuestAgent {

inline constexpr std::size_t kLongestTopic = 255;

// Whether data can be published under it: words of letters, digits, '_' and '-' with dots between them. The
// host would take any text; but a subscriber's prefixes travel unescaped, and logs and files name topics.
bool IsTopic(std::string_view text);

}  // namespace GuestAgent

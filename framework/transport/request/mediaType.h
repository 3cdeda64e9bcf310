#pragma once

#include <cstdint>
#include <string_view>

namespace Mirel::Transport::Http {

// The JSON dialects. The codes are bits, since a header can name several.
namespace MediaType {
inline constexpr std::uint32_t kJson = 1;
inline constexpr std::uint32_t kCleanJson = 2;
inline constexpr std::uint32_t kFramed = 4;
inline constexpr std::uint32_t kFramedCleanJson = 8;
inline constexpr std::uint32_t kStreamJson = 16;
inline constexpr std::uint32_t kCleanStreamJson = 32;
}  // namespace MediaType

// The sum of the codes of all media types that a header's value holds.
std::uint32_t MediaTypeCodes(std::string_view headerValue);

// The media type of a single code; empty for any other number.
std::string_view MediaTypeName(std::uint32_t code);

}  // namespace Mirel::Transport::Http

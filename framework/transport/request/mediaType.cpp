#include "framework/transport/request/mediaType.h"

#include <array>
#include <utility>

#include "framework/core/text.h"

namespace Mirel::Transport::Http {
namespace {

constexpr std::array<std::pair<std::uint32_t, std::string_view>, 6> kMediaTypes{{
    {MediaType::kJson, "application/json"},
    {MediaType::kCleanJson, "application/vnd.tessaly.mirel.cleanjson"},
    {MediaType::kFramed, "application/vnd.tessaly.mirel.framed"},
    {MediaType::kFramedCleanJson, "application/vnd.tessaly.mirel.cframed.cleanjson"},
    {MediaType::kStreamJson, "application/vnd.tessaly.mirel.stream.json"},
    {MediaType::kCleanStreamJson, "application/vnd.tessaly.mirel.clean.stream.json"},
}};

}  // namespace

std::uint32_t MediaTypeCodes(std::string_view headerValue) {
  std::uint32_t sum = 0;
  for (const auto& [code, name] : kMediaTypes) {
    if (Contains(headerValue, name)) sum += code;
  }
  return sum;
}

std::string_view MediaTypeName(std::uint32_t code) {
  for (const auto& [candidate, name] : kMediaTypes) {
    if (candidate == code) return name;
  }
  return {};
}

}  // namespace Mirel::Transport::Http

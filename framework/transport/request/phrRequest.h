#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace Mirel::Transport::PicoHttp {

struct PhrHeader {
  std::string_view name;
  std::string_view value;
};

using PhrHeaders = std::span<PhrHeader>;

// A parsed request head. All views lie in the buffer that was parsed.
struct PhrRequest {
  static constexpr std::uint64_t kMaxHeaders = 64;

  std::string_view method;
  std::string_view path;
  int minorVersion = 0;
  std::array<PhrHeader, kMaxHeaders> headers;
  // Before parsing, how many may be filled; after it, how many are.
  std::uint64_t headerCount = 0;

  PhrHeaders Headers() { return PhrHeaders(headers).first(headerCount); }
};

}  // namespace Mirel::Transport::PicoHttp

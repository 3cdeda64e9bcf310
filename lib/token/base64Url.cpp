#include "lib/token/base64Url.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace NornToken {
namespace {

constexpr std::uint8_t kNoDigit = 0xff;

constexpr std::array<std::uint8_t, 256> MakeDigits() {
  std::array<std::uint8_t, 256> digits{};
  digits.fill(kNoDigit);
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    digits[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return digits;
}

constexpr auto kDigits = MakeDigits();

}  // namespace

bool DecodeBase64Url(std::string_view text, std::string& bytes) {
  bytes.reserve(text.size() / 4 * 3 + 2);
  std::uint32_t bits = 0;
  unsigned count = 0;
  for (const char c : text) {
    const auto digit = kDigits[static_cast<unsigned char>(c)];
    if (digit == kNoDigit) return false;
    bits = (bits << 6) | digit;
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes.push_back(static_cast<char>((bits >> count) & 0xff));
    bits &= (1U << count) - 1;
  }
  // Six bits left over are a digit that belongs to no byte.
  return count != 6 && bits == 0;
}

}  // namespace NornToken

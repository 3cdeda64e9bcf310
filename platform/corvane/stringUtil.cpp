#include "platform/corvane/stringUtil.h"

#include <array>
#include <cstddef>

#include "platform/corvane/crypto.h"
#include "platform/corvane/panic.h"

namespace Corvane::StringUtil {
namespace {

template <std::size_t N>
std::array<unsigned char, N> RandomBytes() {
  std::array<unsigned char, N> bytes{};
  VERIFY(CryptoRandom_GetBytes(bytes.data(), bytes.size()) == 0);
  return bytes;
}

}  // namespace

std::string HexEncode(std::span<const unsigned char> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xf];
  }
  return text;
}

std::string Base64Encode(std::string_view bytes) {
  std::string text;
  Base64_Encode(bytes.data(), bytes.size(), text);
  return text;
}

std::string Base64Decode(std::string_view text) {
  std::string bytes(Base64_DecodedLength(text.data(), text.size()), '\0');
  std::size_t written = 0;
  if (!Base64_Decode(text.data(), text.size(), reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(),
                     &written)) {
    throw Base64FormatException("not base64");
  }
  bytes.resize(written);
  return bytes;
}

std::string GenerateUuid() {
  auto bytes = RandomBytes<16>();
  bytes[6] = (bytes[6] & 0x0f) | 0x40;
  bytes[8] = (bytes[8] & 0x3f) | 0x80;
  std::string text = HexEncode(bytes);
  for (const std::size_t hyphen : {8, 13, 18, 23}) text.insert(hyphen, 1, '-');
  return text;
}

std::string GenerateOpId() {
  return HexEncode(RandomBytes<8>());
}

std::string GenerateShortOpId() {
  return HexEncode(RandomBytes<4>());
}

}  // namespace Corvane::StringUtil

#include "platform/corvane/secretText.h"

#include <openssl/crypto.h>

#include <array>
#include <functional>

#include "platform/corvane/crypto.h"
#include "platform/corvane/panic.h"
#include "platform/corvane/stringUtil.h"

namespace Corvane::Detail {
namespace {

constexpr size_t kHashedDigits = 16;

}  // namespace

std::string MakeSecretText() {
  std::array<unsigned char, 24> bytes{};
  VERIFY(CryptoRandom_GetBytes(bytes.data(), bytes.size()) == 0);
  return StringUtil::HexEncode(bytes);
}

size_t SecretTextHash::operator()(std::string_view text) const noexcept {
  return std::hash<std::string_view>()(text.substr(0, kHashedDigits));
}

bool SecretTextEqual::operator()(std::string_view one, std::string_view other) const noexcept {
  return one.size() == other.size() && CRYPTO_memcmp(one.data(), other.data(), one.size()) == 0;
}

}  // namespace Corvane::Detail

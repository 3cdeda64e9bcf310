#include "platform/corvane/secretText.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <functional>

#include "platform/corvane/crypto.h"
#include "platform/corvane/panic.h"
#include "platform/corvane/stringUtil.h"

namespace Corvane::Detail {
namespace {

constexpr std::size_t kHashedDigits = 16;

}  // namespace

std::string MakeSecretText() {
  std::array<unsigned char, 24> bytes{};
  VERIFY(CryptoRandom_GetBytes(bytes.data(), bytes.size()) == 0);
  return StringUtil::HexEncode(bytes);
}

std::size_t SecretKey::Hash::operator()(const SecretKey& key) const noexcept {
  return std::hash<std::string_view>()({key.digits_.data(), kHashedDigits});
}

SecretKey::SecretKey(std::string_view text) {
  if (text.size() == digits_.size()) std::copy(text.begin(), text.end(), digits_.begin());
}

bool SecretKey::operator==(const SecretKey& other) const noexcept {
  return CRYPTO_memcmp(digits_.data(), other.digits_.data(), digits_.size()) == 0;
}

}  // namespace Corvane::Detail

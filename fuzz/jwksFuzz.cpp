// Key files. Whatever a file holds, reading it ends with a key set or with a reason, and each key that is
// used is one of the two kinds that the verifier knows.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "lib/token/keySet.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  std::vector<std::string> notes;
  std::string fault;
  const auto keys = NornToken::KeySet::Parse(text, notes, fault);
  if ((keys == nullptr) == fault.empty()) std::abort();
  if (keys == nullptr) return 0;
  const auto* key = keys->Find("k");
  if (key == nullptr) return 0;
  const bool isRsa = std::string_view(key->algorithm) == "RS256";
  const auto kind = cjose_jwk_get_kty(key->jwk.get(), nullptr);
  if (kind != (isRsa ? CJOSE_JWK_KTY_RSA : CJOSE_JWK_KTY_EC)) std::abort();
  if (cjose_jwk_get_keysize(key->jwk.get(), nullptr) < (isRsa ? 2048U : 256U)) std::abort();
  return 0;
}

#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "lib/token/josePointers.h"

namespace NornToken {

// A public key and the one algorithm that it is for, "RS256" or "ES256" (RFC 7518, 3.1).
struct VerificationKey {
  JwkPtr jwk;
  const char* algorithm = nullptr;
};

// The keys of a JWK set (RFC 7517, 5) that can check tokens, by their "kid". Immutable once parsed.
class KeySet {
 public:
  // Null, with the reason in fault, when the text is no JWK set. A key in it that can't be used is left out,
  // and a note says which and why: no kid, a kid that occurs twice (then both), another kind of key, a weak
  // one, one that is not for checking signatures, and one with private parts.
  static std::shared_ptr<const KeySet> Parse(std::string_view text, std::vector<std::string>& notes,
                                             std::string& fault);

  // Null when there is no such key.
  const VerificationKey* Find(const std::string& kid) const;
  std::size_t size() const { return keys_.size(); }

 private:
  std::map<std::string, VerificationKey> keys_;
};

}  // namespace NornToken

#include "lib/token/keySet.h"

#include <bit>
#include <cstring>
#include <set>
#include <utility>

#include "lib/token/base64Url.h"
#include "lib/token/tokenSettings.h"

namespace NornToken {
namespace {

constexpr std::size_t kP256CoordinateBytes = 32;
constexpr const char* kPrivateMembers[] = {"d", "p", "q", "dp", "dq", "qi", "oth", "k"};

// The text of a member; null when it is missing or no text.
const char* Text(const json_t* object, const char* name) {
  return json_string_value(json_object_get(object, name));
}

bool Is(const char* text, const char* wanted) {
  return text != nullptr && std::strcmp(text, wanted) == 0;
}

// The bytes of a member in base64url; empty when it is none.
std::string Bytes(const json_t* jwk, const char* name) {
  const char* text = Text(jwk, name);
  std::string bytes;
  return text != nullptr && DecodeBase64Url(text, bytes) ? bytes : std::string();
}

// Bits of a number without its leading zeros.
std::size_t BitLength(const std::string& number) {
  const auto first = number.find_first_not_of('\0');
  if (first == std::string::npos) return 0;
  return (number.size() - first - 1) * 8 + std::bit_width(static_cast<unsigned char>(number[first]));
}

bool IsOdd(const std::string& number) {
  return !number.empty() && (static_cast<unsigned char>(number.back()) & 1) != 0;
}

const char* RsaFault(const json_t* jwk) {
  const auto modulus = Bytes(jwk, "n");
  const auto exponent = Bytes(jwk, "e");
  const auto bits = BitLength(modulus);
  if (bits < kMinRsaBits) return "its RSA modulus is not of at least 2048 bits";
  if (bits > kMaxRsaBits) return "its RSA modulus is of more than 8192 bits";
  if (!IsOdd(modulus)) return "its RSA modulus is even";
  // An exponent of 1 makes every message its own signature.
  if (!IsOdd(exponent) || BitLength(exponent) < 2 || BitLength(exponent) > 32) {
    return "its RSA exponent is unusual";
  }
  return nullptr;
}

const char* EcFault(const json_t* jwk) {
  if (!Is(Text(jwk, "crv"), "P-256")) return "it is not on the curve P-256";
  if (Bytes(jwk, "x").size() != kP256CoordinateBytes || Bytes(jwk, "y").size() != kP256CoordinateBytes) {
    return "its coordinates are not of 32 bytes";
  }
  return nullptr;
}

const char* PurposeFault(const json_t* jwk) {
  const auto* use = json_object_get(jwk, "use");
  if (use != nullptr && !Is(json_string_value(use), "sig")) return "its use is not sig";
  const auto* operations = json_object_get(jwk, "key_ops");
  if (operations == nullptr) return nullptr;
  std::size_t index = 0;
  json_t* operation = nullptr;
  json_array_foreach(operations, index, operation) {
    if (Is(json_string_value(operation), "verify")) return nullptr;
  }
  return "its key_ops have no verify";
}

// Fills the key, or says what is wrong with it.
const char* ReadKey(const json_t* jwk, VerificationKey& key) {
  for (const char* name : kPrivateMembers) {
    if (json_object_get(jwk, name) != nullptr) return "it has private or symmetric parts";
  }
  if (const char* fault = PurposeFault(jwk)) return fault;
  const bool isRsa = Is(Text(jwk, "kty"), "RSA");
  if (!isRsa && !Is(Text(jwk, "kty"), "EC")) return "its kty is neither RSA nor EC";
  key.algorithm = isRsa ? "RS256" : "ES256";
  const auto* algorithm = json_object_get(jwk, "alg");
  if (algorithm != nullptr && !Is(json_string_value(algorithm), key.algorithm)) {
    return "its alg is not the one of its kty";
  }
  if (const char* fault = isRsa ? RsaFault(jwk) : EcFault(jwk)) return fault;

  const TextPtr text(json_dumps(jwk, JSON_COMPACT));
  if (text) key.jwk.reset(cjose_jwk_import(text.get(), std::strlen(text.get()), nullptr));
  return key.jwk ? nullptr : "it is no key";
}

}  // namespace

std::shared_ptr<const KeySet> KeySet::Parse(std::string_view text, std::vector<std::string>& notes,
                                            std::string& fault) {
  json_error_t where;
  const JsonPtr document(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &where));
  if (!document) {
    // The parser's own text may quote the file.
    fault = "line " + std::to_string(where.line) + " is not valid JSON";
    return nullptr;
  }
  const auto* keys = json_object_get(document.get(), "keys");
  if (!json_is_array(keys) || json_array_size(keys) > kMaxKeys) {
    fault = "it has no array \"keys\" of at most " + std::to_string(kMaxKeys) + " keys";
    return nullptr;
  }
  const auto set = std::make_shared<KeySet>();
  std::set<std::string> seen;
  std::size_t index = 0;
  json_t* jwk = nullptr;
  json_array_foreach(keys, index, jwk) {
    const auto leaveOut = [&](const char* reason) {
      notes.push_back("key " + std::to_string(index + 1) + " is left out: " + reason);
    };
    const char* kid = Text(jwk, "kid");
    if (kid == nullptr || *kid == '\0') {
      leaveOut("it has no kid");
      continue;
    }
    if (!seen.insert(kid).second) {
      set->keys_.erase(kid);
      leaveOut("its kid occurs twice, and the other key is left out too");
      continue;
    }
    VerificationKey key;
    if (const char* reason = ReadKey(jwk, key)) {
      leaveOut(reason);
      continue;
    }
    set->keys_.emplace(kid, std::move(key));
  }
  return set;
}

const VerificationKey* KeySet::Find(const std::string& kid) const {
  const auto found = keys_.find(kid);
  return found == keys_.end() ? nullptr : &found->second;
}

}  // namespace NornToken

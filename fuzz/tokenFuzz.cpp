// Tokens of hostile clients. The fuzzer can't sign, so that it does so with a key of its own for the one
// input that it takes for claims; whatever else it makes up is refused.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "lib/token/josePointers.h"
#include "lib/token/keySet.h"
#include "lib/token/tokenVerifier.h"

namespace {

using namespace NornToken;

void Require(bool condition) {
  if (!condition) std::abort();
}

const JwkPtr& Key() {
  static const auto key = [] {
    JwkPtr made(cjose_jwk_create_EC_random(CJOSE_JWK_EC_P_256, nullptr));
    Require(made && cjose_jwk_set_kid(made.get(), "k", 1, nullptr));
    return made;
  }();
  return key;
}

const KeySet& Keys() {
  static const auto keys = [] {
    const TextPtr jwk(cjose_jwk_to_json(Key().get(), false, nullptr));
    std::vector<std::string> notes;
    std::string fault;
    return KeySet::Parse(R"({"keys":[)" + std::string(jwk.get()) + "]}", notes, fault);
  }();
  return *keys;
}

std::string Sign(const std::uint8_t* claims, std::size_t size) {
  const JoseHeaderPtr header(cjose_header_new(nullptr));
  Require(cjose_header_set(header.get(), "alg", "ES256", nullptr) &&
          cjose_header_set(header.get(), "kid", "k", nullptr));
  const JwsPtr jws(cjose_jws_sign(Key().get(), header.get(), claims, size, nullptr));
  const char* text = nullptr;
  Require(jws && cjose_jws_export(jws.get(), &text, nullptr));
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(data, data + size);
  Require(std::holds_alternative<Refusal>(VerifyToken(bytes, Keys(), 1000)));
  if (size == 0) return 0;
  const auto signedToken = Sign(data, size);
  const auto verdict = VerifyToken(signedToken, Keys(), 1000);
  if (const auto* identity = std::get_if<TokenIdentity>(&verdict)) {
    Require(!identity->subject.empty() && identity->subject.size() <= 256);
    Require(identity->entitlements.size() <= 64);
    Require(bytes.find("urn:tessaly") != std::string::npos || bytes.find('\\') != std::string::npos);
  }
  // The same signature under other bytes in front of it.
  const auto signature = signedToken.substr(signedToken.rfind('.'));
  Require(std::holds_alternative<Refusal>(VerifyToken(bytes + signature, Keys(), 1000)));
  return 0;
}

#include "lib/token/tokenVerifier.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

#include "lib/token/base64Url.h"
#include "lib/token/josePointers.h"
#include "lib/token/tokenSettings.h"
#include "platform/corvane/textEscape.h"
#include "platform/corvane/wipedString.h"

namespace NornToken {
namespace {

using Reason = const char*;
constexpr Reason kFine = nullptr;

// 9999-12-31T23:59:59Z: later dates are faults, and sums with the skew stay small.
constexpr double kLatestDate = 253402300799;

// Two numbers of 256 bits (RFC 7518, 3.4). The library takes them padded as well, so that one token would
// have many spellings.
constexpr std::size_t kEs256SignatureBytes = 64;

// The bytes of one part of a token.
class DecodedPart {
 public:
  explicit DecodedPart(std::string_view text)
      : isValid_(DecodeBase64Url(text, bytes_.Reserve(text.size()))) {}

  bool IsValid() const { return isValid_; }
  std::size_t size() const { return bytes_.text().size(); }
  // Null when the bytes are no JSON object, or one with a member given twice.
  JsonPtr ParseObject() const {
    JsonPtr value(json_loadb(bytes_.text().data(), bytes_.text().size(), JSON_REJECT_DUPLICATES, nullptr));
    return json_is_object(value.get()) ? std::move(value) : nullptr;
  }

 private:
  Corvane::WipedString bytes_;
  bool isValid_;
};

using Parts = std::array<std::string_view, 3>;

// False unless there are exactly three.
bool Split(std::string_view token, Parts& parts) {
  const auto first = token.find('.');
  if (first == std::string_view::npos) return false;
  const auto second = token.find('.', first + 1);
  if (second == std::string_view::npos || token.find('.', second + 1) != std::string_view::npos) return false;
  parts = {token.substr(0, first), token.substr(first + 1, second - first - 1), token.substr(second + 1)};
  return true;
}

bool Is(const json_t* value, const char* wanted) {
  const char* text = json_string_value(value);
  return text != nullptr && std::strcmp(text, wanted) == 0;
}

// Finds the one key that the header may ask for. The header is what an attacker writes first, so that it
// chooses among the host's keys, and never brings one.
Reason ChooseKey(const json_t* header, const KeySet& keys, const VerificationKey*& key) {
  for (const char* name : {"jwk", "jku", "x5u", "x5c"}) {
    if (json_object_get(header, name) != nullptr) return "the header brings a key";
  }
  if (json_object_get(header, "crit") != nullptr) return "the header has critical extensions";
  const auto* type = json_object_get(header, "typ");
  if (type != nullptr && !Is(type, "JWT") && !Is(type, "jwt")) return "the type is not JWT";
  const auto* algorithm = json_object_get(header, "alg");
  if (!Is(algorithm, "RS256") && !Is(algorithm, "ES256")) return "the algorithm is neither RS256 nor ES256";
  const char* kid = json_string_value(json_object_get(header, "kid"));
  if (kid == nullptr) return "the header names no key";
  key = keys.Find(kid);
  if (key == nullptr) return "the key is unknown";
  return Is(algorithm, key->algorithm) ? kFine : "the key is for another algorithm";
}

Reason CheckSignature(std::string_view token, const VerificationKey& key, std::size_t signatureBytes) {
  constexpr Reason kWrong = "the signature is wrong";
  if (key.algorithm == std::string_view("ES256") && signatureBytes != kEs256SignatureBytes) return kWrong;
  const JwsPtr jws(cjose_jws_import(token.data(), token.size(), nullptr));
  return jws && cjose_jws_verify(jws.get(), key.jwk.get(), nullptr) ? kFine : kWrong;
}

// Reads a NumericDate (RFC 7519, 2): seconds since the epoch, with or without a fraction.
bool ReadDate(const json_t* value, double& seconds) {
  if (!json_is_number(value)) return false;
  seconds = json_number_value(value);
  return seconds >= 0 && seconds <= kLatestDate;
}

Reason CheckDates(const json_t* claims, std::int64_t nowSeconds) {
  const auto now = static_cast<double>(nowSeconds);
  double expires = 0;
  if (!ReadDate(json_object_get(claims, "exp"), expires)) return "exp is missing or no date";
  if (now >= expires + kClockSkewSeconds) return "it has expired";
  const auto* notBefore = json_object_get(claims, "nbf");
  if (notBefore == nullptr) return kFine;
  double starts = 0;
  if (!ReadDate(notBefore, starts)) return "nbf is no date";
  return now + kClockSkewSeconds < starts ? "it is not valid yet" : kFine;
}

bool IsForThisService(const json_t* audience) {
  if (json_is_string(audience)) return Is(audience, kAudience);
  if (!json_is_array(audience) || json_array_size(audience) > kMaxAudiences) return false;
  bool found = false;
  std::size_t index = 0;
  json_t* element = nullptr;
  json_array_foreach(audience, index, element) {
    if (!json_is_string(element)) return false;
    found = found || Is(element, kAudience);
  }
  return found;
}

// Reads a text of some length that can be shown in logs.
bool ReadName(const json_t* value, std::size_t limit, std::string& name) {
  if (!json_is_string(value)) return false;
  name.assign(json_string_value(value), json_string_length(value));
  return !name.empty() && name.size() <= limit && Corvane::Detail::IsPlainLine(name);
}

bool ReadEntitlements(const json_t* claim, std::vector<std::string>& entitlements) {
  if (claim == nullptr) return true;
  if (!json_is_array(claim) || json_array_size(claim) > kMaxEntitlements) return false;
  std::size_t index = 0;
  json_t* element = nullptr;
  json_array_foreach(claim, index, element) {
    if (!ReadName(element, kMaxEntitlementBytes, entitlements.emplace_back())) return false;
  }
  return true;
}

Reason ReadClaims(const json_t* claims, std::int64_t now, TokenIdentity& identity) {
  if (!Is(json_object_get(claims, "iss"), kIssuer)) return "the issuer is another one";
  if (!IsForThisService(json_object_get(claims, "aud"))) return "the audience is another one";
  if (const auto reason = CheckDates(claims, now)) return reason;
  if (!ReadName(json_object_get(claims, "sub"), kMaxSubjectBytes, identity.subject)) {
    return "the subject is missing or no name";
  }
  if (!ReadEntitlements(json_object_get(claims, kEntitlementsClaim), identity.entitlements)) {
    return "the entitlements are no list of names";
  }
  return kFine;
}

Reason Check(std::string_view token, const KeySet& keys, std::int64_t now, TokenIdentity& identity) {
  if (token.size() > kMaxTokenBytes) return "it is too long";
  Parts parts;
  if (!Split(token, parts)) return "it does not have three parts";
  const DecodedPart header(parts[0]);
  const DecodedPart claims(parts[1]);
  const DecodedPart signature(parts[2]);
  if (!header.IsValid() || !claims.IsValid() || !signature.IsValid()) return "a part is no base64url text";

  if (header.size() > kMaxHeaderBytes) return "the header is too long";
  const auto headerObject = header.ParseObject();
  if (!headerObject) return "the header is no JSON object with each member once";
  const VerificationKey* key = nullptr;
  if (const auto reason = ChooseKey(headerObject.get(), keys, key)) return reason;
  if (const auto reason = CheckSignature(token, *key, signature.size())) return reason;

  const auto claimsObject = claims.ParseObject();
  if (!claimsObject) return "the claims are no JSON object with each member once";
  return ReadClaims(claimsObject.get(), now, identity);
}

}  // namespace

std::int64_t SecondsNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

Verdict VerifyToken(std::string_view token, const KeySet& keys, std::int64_t now) {
  TokenIdentity identity;
  if (const auto reason = Check(token, keys, now, identity)) return Refusal{reason};
  return identity;
}

TokenVerifier::TokenVerifier(std::unique_ptr<KeyFile> keys, Clock clock)
    : keys_(std::move(keys)), clock_(std::move(clock)) {}

Verdict TokenVerifier::Verify(std::string_view token) const {
  return VerifyToken(token, *keys_->Keys(), clock_());
}

}  // namespace NornToken

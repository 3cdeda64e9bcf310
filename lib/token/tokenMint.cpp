#include "lib/token/tokenMint.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "lib/token/josePointers.h"
#include "lib/token/tokenSettings.h"
#include "lib/token/tokenVerifier.h"
#include "lib/token/trustedFile.h"
#include "platform/corvane/crypto.h"
#include "platform/corvane/fileDescriptor.h"
#include "platform/corvane/wipedString.h"

namespace NornToken {
namespace {

constexpr std::size_t kMaxSigningKeyBytes = 4096;

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
  throw MintError(path + ": " + reason);
}

[[noreturn]] void FailWithErrno(const std::string& path) {
  Fail(path, std::strerror(errno));
}

std::string NewKeyId() {
  std::array<unsigned char, 8> random{};
  if (CryptoRandom_GetBytes(random.data(), random.size()) != 0) throw MintError("no random bytes");
  std::string id = "hesper-host-";
  for (const unsigned byte : random) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", byte);
    id += digits.data();
  }
  return id;
}

JwkPtr NewSigningKey(Corvane::WipedString& text) {
  const auto id = NewKeyId();
  JwkPtr key(cjose_jwk_create_EC_random(CJOSE_JWK_EC_P_256, nullptr));
  if (!key || !cjose_jwk_set_kid(key.get(), id.data(), id.size(), nullptr)) {
    throw MintError("no key was made");
  }
  const TextPtr json(cjose_jwk_to_json(key.get(), true, nullptr));
  if (!json) throw MintError("no key was made");
  text = Corvane::WipedString(json.get());
  OPENSSL_cleanse(json.get(), text.text().size());
  return key;
}

// The host's signing key. The open file is locked, so that the key and its place in the set of public keys
// are the work of one process at a time.
class SigningKey {
 public:
  explicit SigningKey(const std::string& path)
      : file_(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600)) {
    struct stat status {};
    if (file_.Get() < 0 || fstat(file_.Get(), &status) != 0) FailWithErrno(path);
    if (const char* reason = TrustFault(status, Access::Private)) Fail(path, reason);
    while (flock(file_.Get(), LOCK_EX) != 0) {
      if (errno != EINTR) FailWithErrno(path);
    }
    Corvane::WipedString text;
    if (!ReadAll(file_.Get(), kMaxSigningKeyBytes, text.Reserve(2 * kMaxSigningKeyBytes))) {
      FailWithErrno(path);
    }
    if (text.text().empty()) {
      jwk_ = NewSigningKey(text);
      errno = WriteAll(file_.Get(), text.text());
      if (errno != 0) FailWithErrno(path);
    } else {
      jwk_.reset(cjose_jwk_import(text.text().data(), text.text().size(), nullptr));
    }
    if (!jwk_ || cjose_jwk_get_kid(jwk_.get(), nullptr) == nullptr) Fail(path, "it is no signing key");
  }

  const cjose_jwk_t* jwk() const { return jwk_.get(); }
  const char* kid() const { return cjose_jwk_get_kid(jwk_.get(), nullptr); }
  JsonPtr PublicPart() const {
    const TextPtr text(cjose_jwk_to_json(jwk_.get(), false, nullptr));
    JsonPtr json(text ? json_loads(text.get(), 0, nullptr) : nullptr);
    if (!json || json_object_set_new(json.get(), "use", json_string("sig")) != 0 ||
        json_object_set_new(json.get(), "alg", json_string("ES256")) != 0) {
      throw MintError("no public key was made");
    }
    return json;
  }

 private:
  Corvane::FileDescriptor file_;
  JwkPtr jwk_;
};

JsonPtr ReadKeySet(const std::string& path) {
  if (VersionOf(path).error == ENOENT) return JsonPtr(json_pack("{s:[]}", "keys"));
  std::string text;
  std::string fault;
  if (ReadTrustedFile(path, Access::Public, kMaxKeyFileBytes, text, fault) != Reading::Done) {
    Fail(path, fault);
  }
  JsonPtr set(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, nullptr));
  if (!json_is_array(json_object_get(set.get(), "keys"))) Fail(path, "it is no JWK set");
  return set;
}

void ReplaceFile(const std::string& path, const std::string& text, mode_t mode) {
  const auto fresh = path + ".new";
  // What an interrupted run may have left.
  unlink(fresh.c_str());
  const Corvane::FileDescriptor file(
      open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (file.Get() < 0 || fchmod(file.Get(), mode) != 0) FailWithErrno(fresh);
  errno = WriteAll(file.Get(), text);
  if (errno != 0 || std::rename(fresh.c_str(), path.c_str()) != 0) FailWithErrno(path);
}

bool Holds(const json_t* keys, const char* kid) {
  std::size_t index = 0;
  json_t* key = nullptr;
  json_array_foreach(keys, index, key) {
    const char* other = json_string_value(json_object_get(key, "kid"));
    if (other != nullptr && std::strcmp(other, kid) == 0) return true;
  }
  return false;
}

void Publish(const SigningKey& key, const std::string& path) {
  const auto set = ReadKeySet(path);
  auto* keys = json_object_get(set.get(), "keys");
  if (Holds(keys, key.kid())) return;
  if (json_array_append_new(keys, key.PublicPart().release()) != 0) throw MintError("out of memory");
  const TextPtr text(json_dumps(set.get(), JSON_INDENT(2)));
  if (!text) Fail(path, "it could not be written");
  ReplaceFile(path, text.get() + std::string("\n"), 0644);
}

std::string ClaimsText(const TokenClaims& claims) {
  const JsonPtr entitlements(json_array());
  for (const auto& name : claims.entitlements) {
    if (json_array_append_new(entitlements.get(), json_stringn(name.data(), name.size())) != 0) {
      throw MintError("an entitlement is no UTF-8 text");
    }
  }
  const JsonPtr object(json_pack("{s:s, s:s, s:s%, s:I, s:I, s:I, s:O}", "iss", kIssuer, "aud", kAudience,
                                 "sub", claims.subject.data(), claims.subject.size(), "iat",
                                 json_int_t{claims.issuedAt}, "nbf", json_int_t{claims.issuedAt}, "exp",
                                 json_int_t{claims.expiresAt}, kEntitlementsClaim, entitlements.get()));
  const TextPtr text(json_dumps(object.get(), JSON_COMPACT));
  if (!text) throw MintError("the subject is no UTF-8 text");
  return text.get();
}

std::string Sign(const SigningKey& key, const std::string& claims) {
  const JoseHeaderPtr header(cjose_header_new(nullptr));
  const bool isFilled = header && cjose_header_set(header.get(), "alg", "ES256", nullptr) &&
                        cjose_header_set(header.get(), "typ", "JWT", nullptr) &&
                        cjose_header_set(header.get(), "kid", key.kid(), nullptr);
  if (!isFilled) throw MintError("no token was made");
  const auto* bytes = static_cast<const unsigned char*>(static_cast<const void*>(claims.data()));
  const JwsPtr jws(cjose_jws_sign(key.jwk(), header.get(), bytes, claims.size(), nullptr));
  const char* text = nullptr;
  if (!jws || !cjose_jws_export(jws.get(), &text, nullptr)) throw MintError("no token was made");
  return text;
}

}  // namespace

void WriteTokenFile(const std::string& path, const std::string& token) {
  struct stat status {};
  // A link would be replaced and not followed, but that's not what its owner expects.
  if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) Fail(path, "it is no regular file");
  ReplaceFile(path, token + "\n", 0600);
}

TokenMint::TokenMint(std::string signingKeyFile, std::string keysFile)
    : signingKeyFile_(std::move(signingKeyFile)), keysFile_(std::move(keysFile)) {}

std::string TokenMint::Mint(const TokenClaims& claims) const {
  const auto folder = std::filesystem::path(signingKeyFile_).parent_path();
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) Fail(folder, error.message());
  const SigningKey key(signingKeyFile_);
  Publish(key, keysFile_);
  auto token = Sign(key, ClaimsText(claims));
  // The daemon's own judgement, so that nobody is given a token that is refused later.
  const TokenVerifier daemon(std::make_unique<KeyFile>(keysFile_, nullptr), [&] { return claims.issuedAt; });
  const auto verdict = daemon.Verify(token);
  if (const auto* refusal = std::get_if<Refusal>(&verdict)) {
    throw MintError(std::string("the daemon would refuse this token: ") + refusal->reason);
  }
  return token;
}

}  // namespace NornToken

#include "platform/corvane/xml/signatureValue.h"

#include <openssl/bn.h>
#include <openssl/ec.h>

#include <memory>
#include <optional>

#include "platform/corvane/panic.h"
#include "platform/corvane/xml/openssl.h"

namespace Corvane::Xml::Security {
namespace {

using KeyContextPtr = std::unique_ptr<EVP_PKEY_CTX, OpenSslDeleter<EVP_PKEY_CTX_free>>;
using EcdsaPtr = std::unique_ptr<ECDSA_SIG, OpenSslDeleter<ECDSA_SIG_free>>;

const EVP_MD* Fetch(const char* name) {
  const EVP_MD* algorithm = EVP_MD_fetch(nullptr, name, nullptr);
  VERIFY(algorithm != nullptr);
  return algorithm;
}

// Looked up once; EVP_sha256 and its like are looked up at each use.
const EVP_MD* GetAlgorithm(DigestMethod method) {
  static const EVP_MD* const kSha256 = Fetch("SHA256");
  static const EVP_MD* const kSha384 = Fetch("SHA384");
  static const EVP_MD* const kSha512 = Fetch("SHA512");
  switch (method) {
    case DigestMethod::Sha256:
      return kSha256;
    case DigestMethod::Sha384:
      return kSha384;
    case DigestMethod::Sha512:
      return kSha512;
  }
  NOT_REACHED();
}

const unsigned char* Bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* Bytes(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

// The length of one of the two numbers.
std::size_t NumberLength(const Key& key) {
  return (static_cast<std::size_t>(EVP_PKEY_get_bits(key.Get())) + 7) / 8;
}

std::string FromDer(const Key& key, const std::string& der) {
  const unsigned char* position = Bytes(der);
  const EcdsaPtr numbers(d2i_ECDSA_SIG(nullptr, &position, static_cast<long>(der.size())));
  const std::size_t length = NumberLength(key);
  std::string value(2 * length, '\0');
  VERIFY(numbers != nullptr &&
         BN_bn2binpad(ECDSA_SIG_get0_r(numbers.get()), Bytes(value), static_cast<int>(length)) >= 0 &&
         BN_bn2binpad(ECDSA_SIG_get0_s(numbers.get()), Bytes(value) + length, static_cast<int>(length)) >= 0);
  return value;
}

std::optional<std::string> ToDer(const Key& key, std::string_view value) {
  const std::size_t length = NumberLength(key);
  if (value.size() != 2 * length) return std::nullopt;
  const EcdsaPtr numbers(ECDSA_SIG_new());
  BIGNUM* r = BN_bin2bn(Bytes(value), static_cast<int>(length), nullptr);
  BIGNUM* s = BN_bin2bn(Bytes(value) + length, static_cast<int>(length), nullptr);
  VERIFY(numbers != nullptr && ECDSA_SIG_set0(numbers.get(), r, s) == 1);
  unsigned char* der = nullptr;
  const int size = i2d_ECDSA_SIG(numbers.get(), &der);
  VERIFY(size > 0);
  std::string text(reinterpret_cast<const char*>(der), static_cast<std::size_t>(size));
  OPENSSL_free(der);
  return text;
}

}  // namespace

DigestWriter::DigestWriter(DigestMethod method) : context_(EVP_MD_CTX_new()) {
  VERIFY(EVP_DigestInit_ex(context_, GetAlgorithm(method), nullptr) == 1);
}

DigestWriter::~DigestWriter() {
  EVP_MD_CTX_free(context_);
}

void DigestWriter::Write(std::string_view piece) {
  VERIFY(EVP_DigestUpdate(context_, piece.data(), piece.size()) == 1);
}

std::string DigestWriter::Finish() {
  std::string digest(EVP_MAX_MD_SIZE, '\0');
  unsigned length = 0;
  VERIFY(EVP_DigestFinal_ex(context_, Bytes(digest), &length) == 1);
  digest.resize(length);
  return digest;
}

std::string MakeSignatureValue(const Key& key, SignatureMethod method, std::string_view digest) {
  const KeyContextPtr context(EVP_PKEY_CTX_new_from_pkey(nullptr, key.Get(), nullptr));
  std::size_t length = 0;
  if (EVP_PKEY_sign_init(context.get()) != 1 ||
      EVP_PKEY_CTX_set_signature_md(context.get(), GetAlgorithm(GetDigest(method))) != 1 ||
      EVP_PKEY_sign(context.get(), nullptr, &length, Bytes(digest), digest.size()) != 1) {
    FailWithOpenSsl("Signing failed");
  }
  std::string value(length, '\0');
  if (EVP_PKEY_sign(context.get(), Bytes(value), &length, Bytes(digest), digest.size()) != 1) {
    FailWithOpenSsl("Signing failed");
  }
  value.resize(length);
  return IsRsa(method) ? value : FromDer(key, value);
}

bool IsSignatureValue(const Key& key, SignatureMethod method, std::string_view digest,
                      std::string_view value) {
  const ErrorScope errors;
  const KeyContextPtr context(EVP_PKEY_CTX_new_from_pkey(nullptr, key.Get(), nullptr));
  const auto made = IsRsa(method) ? std::optional(std::string(value)) : ToDer(key, value);
  return made && EVP_PKEY_verify_init(context.get()) == 1 &&
         EVP_PKEY_CTX_set_signature_md(context.get(), GetAlgorithm(GetDigest(method))) == 1 &&
         EVP_PKEY_verify(context.get(), Bytes(*made), made->size(), Bytes(digest), digest.size()) == 1;
}

}  // namespace Corvane::Xml::Security

#include "platform/corvane/xml/signatureValue.h"

#include <openssl/bn.h>
#include <openssl/ec.h>

#include <memory>
#include <optional>

#include "platform/corvane/panic.h"
#include "platform/corvane/xml/openssl.h"

namespace Corvane::Xml::Security {
namespace {

using ContextPtr = std::unique_ptr<EVP_MD_CTX, OpenSslDeleter<EVP_MD_CTX_free>>;
using EcdsaPtr = std::unique_ptr<ECDSA_SIG, OpenSslDeleter<ECDSA_SIG_free>>;

const EVP_MD* GetAlgorithm(DigestMethod method) {
  switch (method) {
    case DigestMethod::Sha256:
      return EVP_sha256();
    case DigestMethod::Sha384:
      return EVP_sha384();
    case DigestMethod::Sha512:
      return EVP_sha512();
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

std::string MakeDigest(DigestMethod method, std::string_view octets) {
  std::string digest(EVP_MAX_MD_SIZE, '\0');
  unsigned length = 0;
  VERIFY(EVP_Digest(octets.data(), octets.size(), Bytes(digest), &length, GetAlgorithm(method), nullptr) ==
         1);
  digest.resize(length);
  return digest;
}

std::string MakeSignatureValue(const Key& key, SignatureMethod method, std::string_view octets) {
  const ContextPtr context(EVP_MD_CTX_new());
  std::size_t length = 0;
  if (EVP_DigestSignInit(context.get(), nullptr, GetAlgorithm(GetDigest(method)), nullptr, key.Get()) != 1 ||
      EVP_DigestSign(context.get(), nullptr, &length, Bytes(octets), octets.size()) != 1) {
    FailWithOpenSsl("Signing failed");
  }
  std::string value(length, '\0');
  if (EVP_DigestSign(context.get(), Bytes(value), &length, Bytes(octets), octets.size()) != 1) {
    FailWithOpenSsl("Signing failed");
  }
  value.resize(length);
  return IsRsa(method) ? value : FromDer(key, value);
}

bool IsSignatureValue(const Key& key, SignatureMethod method, std::string_view octets,
                      std::string_view value) {
  const ErrorScope errors;
  const ContextPtr context(EVP_MD_CTX_new());
  const auto made = IsRsa(method) ? std::optional(std::string(value)) : ToDer(key, value);
  return made &&
         EVP_DigestVerifyInit(context.get(), nullptr, GetAlgorithm(GetDigest(method)), nullptr, key.Get()) ==
             1 &&
         EVP_DigestVerify(context.get(), Bytes(*made), made->size(), Bytes(octets), octets.size()) == 1;
}

}  // namespace Corvane::Xml::Security

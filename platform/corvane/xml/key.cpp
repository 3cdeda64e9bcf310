#include "platform/corvane/xml/key.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/pem.h>

#include <algorithm>
#include <array>
#include <new>

#include "platform/corvane/xml/openssl.h"

namespace Corvane::Xml::Security {
namespace {

constexpr int kSmallestRsaBits = 2048;
// Checking a signature of a larger key takes long, and the key may come from a stranger's certificate.
constexpr int kLargestRsaBits = 8192;
constexpr int kLargestExponentBits = 64;
constexpr std::array<std::string_view, 3> kCurves = {"prime256v1", "secp384r1", "secp521r1"};

// Keys with a password are not asked for on the terminal.
int RefusePassword(char*, int, int, void*) {
  return -1;
}

const char* FindRsaFault(EVP_PKEY* key) {
  if (EVP_PKEY_get_bits(key) < kSmallestRsaBits) return "The RSA key is shorter than 2048 bits.";
  if (EVP_PKEY_get_bits(key) > kLargestRsaBits) return "The RSA key is longer than 8192 bits.";
  BIGNUM* exponent = nullptr;
  const bool isShort = EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_E, &exponent) == 1 &&
                       BN_num_bits(exponent) <= kLargestExponentBits;
  BN_free(exponent);
  return isShort ? nullptr : "The RSA key's exponent is longer than 64 bits.";
}

const char* FindEcFault(EVP_PKEY* key) {
  std::array<char, 64> name{};
  std::size_t length = 0;
  const bool isNamed = EVP_PKEY_get_group_name(key, name.data(), name.size(), &length) == 1;
  const std::string_view curve(name.data(), length);
  return isNamed && std::find(kCurves.begin(), kCurves.end(), curve) != kCurves.end()
             ? nullptr
             : "The curve of the EC key is not accepted.";
}

const char* FindFault(EVP_PKEY* key) {
  switch (EVP_PKEY_get_base_id(key)) {
    case EVP_PKEY_RSA:
      return FindRsaFault(key);
    case EVP_PKEY_EC:
      return FindEcFault(key);
    default:
      return "The key is neither an RSA nor an EC key.";
  }
}

}  // namespace

void FailWithOpenSsl(std::string_view text) {
  const char* reason = ERR_reason_error_string(ERR_peek_error());
  ERR_clear_error();
  throw XmlSecurityException(std::string(text) + ": " + (reason != nullptr ? reason : "unknown fault"));
}

BioPtr ReadFrom(std::string_view text) {
  BioPtr bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  if (bio == nullptr) throw std::bad_alloc();
  return bio;
}

Ref<Key> Key::FromPublicPem(std::string_view pem) {
  const ErrorScope errors;
  EVP_PKEY* key = PEM_read_bio_PUBKEY(ReadFrom(pem).get(), nullptr, &RefusePassword, nullptr);
  if (key == nullptr) FailWithOpenSsl("No public key in PEM");
  return MakeRef<Key>(key);
}

Ref<Key> Key::FromPrivatePem(std::string_view pem) {
  const ErrorScope errors;
  EVP_PKEY* key = PEM_read_bio_PrivateKey(ReadFrom(pem).get(), nullptr, &RefusePassword, nullptr);
  if (key == nullptr) FailWithOpenSsl("No private key in PEM");
  return MakeRef<Key>(key);
}

Key::Key(evp_pkey_st* key) : key_(key) {
  const ErrorScope errors;
  if (const char* fault = FindFault(key)) {
    EVP_PKEY_free(key);
    throw XmlSecurityException(fault);
  }
}

Key::~Key() {
  EVP_PKEY_free(key_);
}

bool Key::IsRsa() const {
  return EVP_PKEY_get_base_id(key_) == EVP_PKEY_RSA;
}

bool Key::Matches(const Key& other) const {
  const ErrorScope errors;
  return EVP_PKEY_eq(key_, other.key_) == 1;
}

}  // namespace Corvane::Xml::Security

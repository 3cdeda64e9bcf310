#include "fleet/exporter/secretHash.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <stdexcept>

namespace Fleet {

SecretHash::SecretHash(std::string_view secret) {
  if (EVP_Digest(secret.data(), secret.size(), digest_.data(), nullptr, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("no SHA-256");
  }
}

bool SecretHash::operator==(const SecretHash& other) const {
  return CRYPTO_memcmp(digest_.data(), other.digest_.data(), digest_.size()) == 0;
}

}  // namespace Fleet

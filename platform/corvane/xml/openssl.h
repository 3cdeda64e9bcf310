#pragma once

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <memory>
#include <string_view>

namespace Corvane::Xml::Security {

template <auto Free>
struct OpenSslDeleter {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

using KeyPtr = std::unique_ptr<EVP_PKEY, OpenSslDeleter<EVP_PKEY_free>>;
using CertificatePtr = std::unique_ptr<X509, OpenSslDeleter<X509_free>>;
using BioPtr = std::unique_ptr<BIO, OpenSslDeleter<BIO_free>>;

// What OpenSSL has noted on this thread is forgotten at the end of the scope. Otherwise the next user of the
// thread, a TLS connection for one, takes it for its own.
class ErrorScope {
 public:
  ErrorScope() = default;
  ErrorScope(const ErrorScope&) = delete;
  ErrorScope& operator=(const ErrorScope&) = delete;
  ~ErrorScope() { ERR_clear_error(); }
};

// Throws XmlSecurityException with the text and OpenSSL's first reason, and forgets OpenSSL's errors.
[[noreturn]] void FailWithOpenSsl(std::string_view text);

// A view of the text for OpenSSL's readers.
BioPtr ReadFrom(std::string_view text);

}  // namespace Corvane::Xml::Security

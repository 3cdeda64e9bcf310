#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <new>

#include "platform/corvane/stringUtil.h"
#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/openssl.h"

namespace Corvane::Xml::Security {
namespace {

constexpr int kLongestChain = 8;
// 112 bits: RSA keys of 2048 bits, and no SHA-1 in a certificate's signature.
constexpr int kSecurityLevel = 2;

struct StackDeleter {
  void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
};

X509* ReadPem(BIO* bio) {
  return PEM_read_bio_X509(bio, nullptr, nullptr, nullptr);
}

}  // namespace

Ref<Certificate> Certificate::FromPem(std::string_view pem) {
  X509* certificate = ReadPem(ReadFrom(pem).get());
  if (certificate == nullptr) {
    FailWithOpenSsl("No certificate in PEM");
  }
  return MakeRef<Certificate>(certificate);
}

Ref<Certificate> Certificate::FromDer(std::string_view der) {
  const auto* position = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* end = position + der.size();
  CertificatePtr certificate(d2i_X509(nullptr, &position, static_cast<long>(der.size())));
  if (certificate == nullptr) {
    FailWithOpenSsl("No certificate in DER");
  }
  if (position != end) {
    throw XmlSecurityException("Bytes stand behind the certificate.");
  }
  return MakeRef<Certificate>(certificate.release());
}

Ref<Certificate> Certificate::FromBase64(std::string_view text) {
  std::string compact(text);
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  compact.erase(std::remove_if(compact.begin(), compact.end(), isBlank), compact.end());
  std::string der;
  try {
    der = StringUtil::Base64Decode(compact);
  } catch (const Base64FormatException&) {
    throw XmlSecurityException("The certificate is no base 64 text.");
  }
  return FromDer(der);
}

Certificate::Certificate(x509_st* certificate) : certificate_(certificate) {}

Certificate::~Certificate() {
  X509_free(certificate_);
}

std::string Certificate::GetBase64() const {
  unsigned char* der = nullptr;
  const int length = i2d_X509(certificate_, &der);
  if (length < 0) {
    FailWithOpenSsl("The certificate has no DER form");
  }
  std::string text =
      StringUtil::Base64Encode({reinterpret_cast<const char*>(der), static_cast<size_t>(length)});
  OPENSSL_free(der);
  return text;
}

Ref<Key> Certificate::GetPublicKey() const {
  EVP_PKEY* key = X509_get_pubkey(certificate_);
  if (key == nullptr) {
    FailWithOpenSsl("The certificate's key can't be read");
  }
  return MakeRef<Key>(key);
}

bool Certificate::operator==(const Certificate& other) const {
  return X509_cmp(certificate_, other.certificate_) == 0;
}

Ref<TrustAnchors> TrustAnchors::FromPem(std::string_view pem) {
  std::vector<Ref<Certificate>> anchors;
  const BioPtr bio = ReadFrom(pem);
  while (X509* certificate = ReadPem(bio.get())) {
    anchors.push_back(MakeRef<Certificate>(certificate));
  }
  const bool isEnd = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
  if (anchors.empty() || !isEnd) {
    FailWithOpenSsl("No certificate in PEM");
  }
  ERR_clear_error();
  return MakeRef<TrustAnchors>(anchors);
}

TrustAnchors::TrustAnchors(const std::vector<Ref<Certificate>>& anchors) : store_(X509_STORE_new()) {
  if (store_ == nullptr) {
    throw std::bad_alloc();
  }
  X509_VERIFY_PARAM* rules = X509_STORE_get0_param(store_);
  // An anchor is trusted as it stands: it need not be the root of its chain.
  X509_VERIFY_PARAM_set_flags(rules, X509_V_FLAG_PARTIAL_CHAIN);
  X509_VERIFY_PARAM_set_auth_level(rules, kSecurityLevel);
  X509_VERIFY_PARAM_set_depth(rules, kLongestChain);
  for (const Ref<Certificate>& anchor : anchors) {
    X509_STORE_add_cert(store_, anchor->Get());
  }
}

TrustAnchors::~TrustAnchors() {
  X509_STORE_free(store_);
}

bool TrustAnchors::Trusts(const Certificate& certificate,
                          const std::vector<Ref<Certificate>>& intermediates) const {
  const std::unique_ptr<STACK_OF(X509), StackDeleter> stack(sk_X509_new_null());
  const std::unique_ptr<X509_STORE_CTX, OpenSslDeleter<X509_STORE_CTX_free>> context(X509_STORE_CTX_new());
  if (stack == nullptr || context == nullptr) {
    throw std::bad_alloc();
  }
  for (const Ref<Certificate>& intermediate : intermediates) {
    sk_X509_push(stack.get(), intermediate->Get());
  }
  const bool isTrusted = X509_STORE_CTX_init(context.get(), store_, certificate.Get(), stack.get()) == 1 &&
                         X509_verify_cert(context.get()) == 1;
  ERR_clear_error();
  return isTrusted;
}

}  // namespace Corvane::Xml::Security

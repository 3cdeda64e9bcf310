#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <ctime>
#include <limits>
#include <new>

#include "platform/corvane/stringUtil.h"
#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/openssl.h"

namespace Corvane::Xml::Security {
namespace {

constexpr std::size_t kLongestBase64 = 16 << 10;
constexpr int kLongestChain = 8;
// 112 bits: RSA keys of 2048 bits, and no SHA-1 in a certificate's signature.
constexpr int kSecurityLevel = 2;

struct StackDeleter {
  void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
};

X509* ReadPem(BIO* bio) {
  return PEM_read_bio_X509(bio, nullptr, nullptr, nullptr);
}

// The common name of the subject in UTF-8; empty when there is none or more than one.
std::string GetOnlyCommonName(const X509* certificate) {
  const X509_NAME* name = X509_get_subject_name(certificate);
  const int first = X509_NAME_get_index_by_NID(name, NID_commonName, -1);
  if (first < 0 || X509_NAME_get_index_by_NID(name, NID_commonName, first) >= 0) return {};
  unsigned char* text = nullptr;
  const int length = ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, first)));
  std::string commonName(reinterpret_cast<const char*>(text),
                         length > 0 ? static_cast<std::size_t>(length) : 0);
  OPENSSL_free(text);
  return commonName;
}

// In seconds since 1970. The comparison takes the forms of RFC 5280, section 4.1.2.5, alone; the conversion
// would take others.
std::int64_t ReadTime(const ASN1_TIME* time, std::int64_t broken) {
  const ErrorScope errors;
  std::tm fields{};
  return X509_cmp_current_time(time) != 0 && ASN1_TIME_to_tm(time, &fields) == 1 ? timegm(&fields) : broken;
}

// RFC 5280, section 4.2.1.3. A certificate that doesn't say so may not.
bool MaySign(X509* certificate) {
  return (X509_get_extension_flags(certificate) & EXFLAG_KUSAGE) != 0 &&
         (X509_get_key_usage(certificate) & KU_DIGITAL_SIGNATURE) != 0;
}

}  // namespace

Ref<Certificate> Certificate::FromPem(std::string_view pem) {
  const ErrorScope errors;
  X509* certificate = ReadPem(ReadFrom(pem).get());
  if (certificate == nullptr) FailWithOpenSsl("No certificate in PEM");
  return MakeRef<Certificate>(certificate);
}

Ref<Certificate> Certificate::FromDer(std::string_view der) {
  const ErrorScope errors;
  const auto* position = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* end = position + der.size();
  CertificatePtr certificate(d2i_X509(nullptr, &position, static_cast<long>(der.size())));
  if (certificate == nullptr) FailWithOpenSsl("No certificate in DER");
  if (position != end) throw XmlSecurityException("Bytes stand behind the certificate.");
  return MakeRef<Certificate>(certificate.release());
}

Ref<Certificate> Certificate::FromBase64(std::string_view text) {
  return FromDer(DecodeBase64(text));
}

std::string Certificate::DecodeBase64(std::string_view text) {
  if (text.size() > kLongestBase64) throw XmlSecurityException("The certificate is too long.");
  std::string compact(text);
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  compact.erase(std::remove_if(compact.begin(), compact.end(), isBlank), compact.end());
  try {
    return StringUtil::Base64Decode(compact);
  } catch (const Base64FormatException&) {
    throw XmlSecurityException("The certificate is no base 64 text.");
  }
}

Certificate::Certificate(x509_st* certificate)
    : certificate_(certificate),
      notBefore_(ReadTime(X509_get0_notBefore(certificate), std::numeric_limits<std::int64_t>::max())),
      notAfter_(ReadTime(X509_get0_notAfter(certificate), std::numeric_limits<std::int64_t>::min())) {}

Certificate::~Certificate() {
  X509_free(certificate_);
}

std::string Certificate::GetDer() const {
  unsigned char* der = nullptr;
  const int length = i2d_X509(certificate_, &der);
  if (length < 0) FailWithOpenSsl("The certificate has no DER form");
  std::string bytes(reinterpret_cast<const char*>(der), static_cast<std::size_t>(length));
  OPENSSL_free(der);
  return bytes;
}

std::string Certificate::GetBase64() const {
  return StringUtil::Base64Encode(GetDer());
}

Ref<Key> Certificate::GetPublicKey() const {
  const ErrorScope errors;
  EVP_PKEY* key = X509_get_pubkey(certificate_);
  if (key == nullptr) FailWithOpenSsl("The certificate's key can't be read");
  return MakeRef<Key>(key);
}

bool Certificate::IsInTime() const {
  const std::int64_t now = std::time(nullptr);
  return notBefore_ <= now && now < notAfter_;
}

bool Certificate::operator==(const Certificate& other) const {
  const ErrorScope errors;
  return X509_cmp(certificate_, other.certificate_) == 0;
}

Ref<TrustAnchors> TrustAnchors::FromPem(std::string_view pem, std::string signerName) {
  const ErrorScope errors;
  std::vector<Ref<Certificate>> anchors;
  const BioPtr bio = ReadFrom(pem);
  while (X509* certificate = ReadPem(bio.get())) anchors.push_back(MakeRef<Certificate>(certificate));
  const bool isEnd = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
  if (anchors.empty() || !isEnd) FailWithOpenSsl("No certificate in PEM");
  return MakeRef<TrustAnchors>(std::move(anchors), std::move(signerName));
}

TrustAnchors::TrustAnchors(std::vector<Ref<Certificate>> anchors, std::string signerName)
    : anchors_(std::move(anchors)), signerName_(std::move(signerName)), store_(X509_STORE_new()) {
  if (store_ == nullptr) throw std::bad_alloc();
  const ErrorScope errors;
  X509_VERIFY_PARAM* rules = X509_STORE_get0_param(store_);
  // An anchor is trusted as it is: it need not be the root of its chain.
  X509_VERIFY_PARAM_set_flags(rules, X509_V_FLAG_PARTIAL_CHAIN);
  X509_VERIFY_PARAM_set_auth_level(rules, kSecurityLevel);
  X509_VERIFY_PARAM_set_depth(rules, kLongestChain);
  for (const Ref<Certificate>& anchor : anchors_) X509_STORE_add_cert(store_, anchor->Get());
}

TrustAnchors::~TrustAnchors() {
  X509_STORE_free(store_);
}

std::vector<Ref<Certificate>> TrustAnchors::FindChain(
    const Certificate& certificate, const std::vector<Ref<Certificate>>& intermediates) const {
  const auto isSame = [&](const Ref<Certificate>& anchor) { return *anchor == certificate; };
  const auto anchor = std::find_if(anchors_.begin(), anchors_.end(), isSame);
  if (anchor != anchors_.end()) {
    return certificate.IsInTime() ? std::vector{*anchor} : std::vector<Ref<Certificate>>();
  }
  const ErrorScope errors;
  const bool maySign = !signerName_.empty() && GetOnlyCommonName(certificate.Get()) == signerName_ &&
                       MaySign(certificate.Get());
  return maySign ? FindIssuers(certificate, intermediates) : std::vector<Ref<Certificate>>();
}

std::vector<Ref<Key>> TrustAnchors::GetKeys() const {
  std::vector<Ref<Key>> keys;
  for (const Ref<Certificate>& anchor : anchors_) {
    try {
      if (anchor->IsInTime()) keys.push_back(anchor->GetPublicKey());
    } catch (const XmlSecurityException&) {
      // A key that is not accepted has signed nothing.
    }
  }
  return keys;
}

std::vector<Ref<Certificate>> TrustAnchors::FindIssuers(
    const Certificate& certificate, const std::vector<Ref<Certificate>>& intermediates) const {
  const std::unique_ptr<STACK_OF(X509), StackDeleter> stack(sk_X509_new_null());
  const std::unique_ptr<X509_STORE_CTX, OpenSslDeleter<X509_STORE_CTX_free>> context(X509_STORE_CTX_new());
  if (stack == nullptr || context == nullptr) throw std::bad_alloc();
  for (const Ref<Certificate>& intermediate : intermediates) sk_X509_push(stack.get(), intermediate->Get());
  if (X509_STORE_CTX_init(context.get(), store_, certificate.Get(), stack.get()) != 1 ||
      X509_verify_cert(context.get()) != 1) {
    return {};
  }
  std::vector<Ref<Certificate>> chain;
  const STACK_OF(X509)* found = X509_STORE_CTX_get0_chain(context.get());
  for (int i = 0; i < sk_X509_num(found); ++i) {
    X509* link = sk_X509_value(found, i);
    X509_up_ref(link);
    chain.push_back(MakeRef<Certificate>(link));
  }
  return chain;
}

}  // namespace Corvane::Xml::Security

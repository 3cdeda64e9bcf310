#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/corvane/object.h"
#include "platform/corvane/xml/xmlException.h"

struct evp_pkey_st;
struct x509_st;
struct x509_store_st;

namespace Corvane::Xml::Security {

// A public key, or a key pair: RSA of 2048 to 8192 bits, or EC on P-256, P-384 or P-521. Immutable, used by
// any thread. What makes one throws XmlSecurityException for any other key, and for what is no key at all.
class Key : public ObjectImpl {
 public:
  static Ref<Key> FromPublicPem(std::string_view pem);
  // Unencrypted, as PKCS #8 or in the traditional forms.
  static Ref<Key> FromPrivatePem(std::string_view pem);
  // Takes the key over.
  explicit Key(evp_pkey_st* key);
  ~Key() override;

  bool IsRsa() const;
  // Whether both have the same public key.
  bool Matches(const Key& other) const;

  evp_pkey_st* Get() const { return key_; }

 private:
  evp_pkey_st* key_;
};

// An X.509 certificate (RFC 5280). Immutable, used by any thread.
class Certificate : public ObjectImpl {
 public:
  // The first certificate of a PEM text. Throws XmlSecurityException, as the following.
  static Ref<Certificate> FromPem(std::string_view pem);
  static Ref<Certificate> FromDer(std::string_view der);
  // From base 64 of DER, as XML carries it; white space in it is skipped.
  static Ref<Certificate> FromBase64(std::string_view text);
  explicit Certificate(x509_st* certificate);
  ~Certificate() override;

  // Base 64 of its DER, on one line.
  std::string GetBase64() const;
  // Throws XmlSecurityException when it is a key that is not accepted.
  Ref<Key> GetPublicKey() const;
  // Byte for byte the same certificate.
  bool operator==(const Certificate& other) const;

  x509_st* Get() const { return certificate_; }

 private:
  x509_st* certificate_;
};

// The certificates that are trusted because the host's administrator says so. Immutable, used by any thread.
class TrustAnchors : public ObjectImpl {
 public:
  // All certificates of a PEM text, at least one. Throws XmlSecurityException.
  static Ref<TrustAnchors> FromPem(std::string_view pem);
  explicit TrustAnchors(const std::vector<Ref<Certificate>>& anchors);
  ~TrustAnchors() override;

  // Whether the certificate is an anchor, or is issued by one, directly or through the given intermediates,
  // and whether all of them are in their validity time now. Revocation is not looked at.
  bool Trusts(const Certificate& certificate, const std::vector<Ref<Certificate>>& intermediates = {}) const;

 private:
  x509_store_st* store_;
};

}  // namespace Corvane::Xml::Security

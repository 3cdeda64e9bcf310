#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/corvane/object.h"
#include "platform/corvane/xml/xmlException.h"

struct evp_pkey_st;
struct x509_st;
struct x509_store_st;

namespace Corvane::Xml::Security {

// A public key, or a key pair: RSA of 2048 to 8192 bits with an exponent of up to 64, or EC on P-256, P-384
// or P-521. Immutable, used by any thread. What makes one throws XmlSecurityException for any other key, and
// for what is no key at all.
class Key final : public ObjectImpl {
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
class Certificate final : public ObjectImpl {
 public:
  // The first certificate of a PEM text. Throws XmlSecurityException, as the following.
  static Ref<Certificate> FromPem(std::string_view pem);
  static Ref<Certificate> FromDer(std::string_view der);
  // From base 64 of DER, as XML carries it; white space in it is skipped. At most 16 KiB of text.
  static Ref<Certificate> FromBase64(std::string_view text);
  // The bytes of such a text, whatever they are. Throws XmlSecurityException for no base 64.
  static std::string DecodeBase64(std::string_view text);
  explicit Certificate(x509_st* certificate);
  ~Certificate() override;

  // Its own encoding, even if it was read from another one.
  std::string GetDer() const;
  // Base 64 of its DER, on one line.
  std::string GetBase64() const;
  // Throws XmlSecurityException when it is a key that is not accepted.
  Ref<Key> GetPublicKey() const;
  bool IsInTime() const;
  // Byte for byte the same certificate.
  bool operator==(const Certificate& other) const;

  x509_st* Get() const { return certificate_; }

 private:
  x509_st* certificate_;
  // In seconds since 1970. A broken one is out of reach, so that the certificate is never in time.
  std::int64_t notBefore_;
  std::int64_t notAfter_;
};

// The certificates that are trusted because the host's administrator says so. Each is pinned: it is trusted
// for itself alone. An authority's certificate counts for those that it issued only together with a name that
// the signer has to have; otherwise everybody who ever got a certificate of it, each TLS server among them,
// could sign. Immutable, used by any thread.
class TrustAnchors final : public ObjectImpl {
 public:
  // All certificates of a PEM text, at least one. Throws XmlSecurityException.
  static Ref<TrustAnchors> FromPem(std::string_view pem, std::string signerName = {});
  // The name is the common name of a signer that an anchor issued; empty if only anchors sign.
  explicit TrustAnchors(std::vector<Ref<Certificate>> anchors, std::string signerName = {});
  ~TrustAnchors() override;

  // Whether the certificate is an anchor; or has the signer's name as its only common name, a key usage that
  // allows digital signatures, and is issued by an anchor, directly or through the given intermediates. All
  // of them have to be in their validity time now. Revocation is not looked at.
  bool Trusts(const Certificate& certificate, const std::vector<Ref<Certificate>>& intermediates = {}) const {
    return !FindChain(certificate, intermediates).empty();
  }
  // The same with the reason: from the certificate itself to an anchor, empty if it isn't trusted. It stays
  // trusted for as long as all of them are in time.
  std::vector<Ref<Certificate>> FindChain(const Certificate& certificate,
                                          const std::vector<Ref<Certificate>>& intermediates = {}) const;

  // Of those anchors that are in their validity time now.
  std::vector<Ref<Key>> GetKeys() const;

 private:
  std::vector<Ref<Certificate>> FindIssuers(const Certificate& certificate,
                                            const std::vector<Ref<Certificate>>& intermediates) const;

  std::vector<Ref<Certificate>> anchors_;
  std::string signerName_;
  x509_store_st* store_;
};

}  // namespace Corvane::Xml::Security

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include <string>
#include <vector>

#include "platform/corvane/xml/key.h"
#include "testing/sso/assertionFactory.h"

namespace {

using namespace Corvane::Xml::Security;
using AssertionFactory::CertificateSpec;
using AssertionFactory::KeyKind;
using AssertionFactory::MakeIdentity;

TEST(KeyTest, RefusesWeakAndBrokenKeys) {
  const auto weak = MakeIdentity(KeyKind::Rsa1024);
  const auto good = MakeIdentity(KeyKind::EcP256);
  EXPECT_THROW(weak.certificate->GetPublicKey(), XmlSecurityException);
  EXPECT_THROW(Key::FromPrivatePem(weak.privateKeyPem), XmlSecurityException);
  EXPECT_TRUE(Key::FromPrivatePem(good.privateKeyPem)->Matches(*good.certificate->GetPublicKey()));
  EXPECT_FALSE(MakeIdentity(KeyKind::EcP256).key->Matches(*good.key));
  // A key on a curve that nobody asked for.
  EXPECT_THROW(Key::FromPublicPem("-----BEGIN PUBLIC KEY-----\n"
                                  "MCowBQYDK2VwAyEAGb9ECWmEzf6FQbrBZ9w7lshQhqowtrbLDFw4rXAxZuE=\n"
                                  "-----END PUBLIC KEY-----\n"),
               XmlSecurityException);
  EXPECT_THROW(Key::FromPublicPem(good.certificatePem), XmlSecurityException);
  const auto base64 = good.certificate->GetBase64();
  EXPECT_TRUE(*Certificate::FromBase64("\n " + base64 + "\t") == *Certificate::FromPem(good.certificatePem));
  for (const auto& broken : {std::string(), std::string("?"), base64.substr(4),
                             base64.substr(0, base64.size() - 4), "AA" + base64, base64 + base64}) {
    EXPECT_THROW(Certificate::FromBase64(broken), XmlSecurityException) << broken;
  }
  EXPECT_THROW(Certificate::FromBase64(base64 + std::string(16 << 10, ' ')), XmlSecurityException);
  EXPECT_EQ(ERR_peek_error(), 0u);
}

// OpenSSL reads more forms of a time than a certificate may have.
TEST(KeyTest, TakesABrokenTimeForNone) {
  const auto identity = MakeIdentity(KeyKind::EcP256);
  ASSERT_TRUE(identity.certificate->IsInTime());
  for (const char* end : {"491231235959Z", "4912312359Z", "491231235959+0000", "x"}) {
    X509* changed = X509_dup(identity.certificate->Get());
    ASN1_STRING_set(X509_getm_notAfter(changed), end, -1);
    EXPECT_EQ(Corvane::MakeRef<Certificate>(changed)->IsInTime(), std::string(end) == "491231235959Z") << end;
  }
  EXPECT_EQ(ERR_peek_error(), 0u);
}

TEST(KeyTest, TrustsAnchorsAndWhatTheyIssued) {
  const auto root = MakeIdentity(KeyKind::EcP256, {.commonName = "root"});
  const auto middle = MakeIdentity(KeyKind::EcP256, {.commonName = "middle", .issuer = &root});
  const auto leafOf = [&](const char* name, const char* usage) {
    return MakeIdentity(KeyKind::EcP256,
                        {.commonName = name, .issuer = &middle, .isAuthority = false, .keyUsage = usage});
  };
  const auto leaf = leafOf("leaf", "digitalSignature");
  const auto stranger = MakeIdentity(KeyKind::EcP256, {.commonName = "root"});
  const auto forged =
      MakeIdentity(KeyKind::EcP256, {.commonName = "leaf", .issuer = &leaf, .keyUsage = "digitalSignature"});
  const auto issued = [](CertificateSpec spec, KeyKind kind = KeyKind::EcP256) {
    spec.commonName = "leaf";
    spec.keyUsage = "digitalSignature";
    return MakeIdentity(kind, spec);
  };
  const auto expired = issued({.issuer = &root, .startsInSeconds = -100, .endsInSeconds = -1});
  const auto early = issued({.issuer = &root, .startsInSeconds = 100});
  const auto oldRoot = MakeIdentity(KeyKind::EcP256, {.commonName = "aged", .endsInSeconds = -1});
  const auto ofOldRoot = issued({.issuer = &oldRoot});
  const auto weak = issued({.issuer = &root}, KeyKind::Rsa1024);

  const auto anchors =
      TrustAnchors::FromPem("comment\n" + root.certificatePem + oldRoot.certificatePem, "leaf");
  EXPECT_TRUE(anchors->Trusts(*root.certificate));
  EXPECT_FALSE(anchors->Trusts(*middle.certificate));
  EXPECT_TRUE(anchors->Trusts(*leaf.certificate, {middle.certificate, stranger.certificate}));
  EXPECT_FALSE(anchors->Trusts(*leaf.certificate));
  EXPECT_FALSE(anchors->Trusts(*stranger.certificate, {stranger.certificate}));
  EXPECT_FALSE(anchors->Trusts(*forged.certificate, {leaf.certificate, middle.certificate}));
  for (const auto& refused : {expired, early, oldRoot, ofOldRoot, weak}) {
    EXPECT_FALSE(anchors->Trusts(*refused.certificate));
  }
  // Not everybody who has a certificate of the authority signs tokens: a server has another name, or another
  // use.
  for (const auto& other : {leafOf("server", "digitalSignature"), leafOf("leaf", "keyEncipherment"),
                            leafOf("leaf", nullptr), leafOf("leaf ", "digitalSignature")}) {
    EXPECT_FALSE(anchors->Trusts(*other.certificate, {middle.certificate}));
  }
  // Without a name, an anchor is trusted for itself alone, an authority or not.
  const TrustAnchors pinned({leaf.certificate, root.certificate, oldRoot.certificate});
  EXPECT_TRUE(pinned.Trusts(*leaf.certificate));
  EXPECT_TRUE(pinned.Trusts(*root.certificate));
  EXPECT_FALSE(pinned.Trusts(*middle.certificate));
  EXPECT_FALSE(pinned.Trusts(*leafOf("leaf", "digitalSignature").certificate, {middle.certificate}));
  ASSERT_EQ(pinned.GetKeys().size(), 2u);
  EXPECT_TRUE(pinned.GetKeys()[0]->Matches(*leaf.key));
  EXPECT_EQ(ERR_peek_error(), 0u);

  for (const auto& broken : {std::string(), std::string("text"), root.certificatePem.substr(0, 200),
                             root.certificatePem + root.certificatePem.substr(0, 200)}) {
    EXPECT_THROW(TrustAnchors::FromPem(broken), XmlSecurityException) << broken;
  }
}

}  // namespace

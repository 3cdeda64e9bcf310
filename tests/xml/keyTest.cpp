#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "examples/token-service/assertionFactory.h"
#include "platform/corvane/xml/key.h"

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
}

TEST(KeyTest, TrustsAnchorsAndWhatTheyIssued) {
  const auto root = MakeIdentity(KeyKind::EcP256, {.commonName = "root"});
  const auto middle = MakeIdentity(KeyKind::EcP256, {.commonName = "middle", .issuer = &root});
  const auto leaf =
      MakeIdentity(KeyKind::EcP256, {.commonName = "leaf", .issuer = &middle, .isAuthority = false});
  const auto stranger = MakeIdentity(KeyKind::EcP256, {.commonName = "root"});
  const auto forged = MakeIdentity(KeyKind::EcP256, {.commonName = "forged", .issuer = &leaf});
  const auto expired = MakeIdentity(
      KeyKind::EcP256, {.commonName = "old", .issuer = &root, .startsInSeconds = -100, .endsInSeconds = -1});
  const auto early =
      MakeIdentity(KeyKind::EcP256, {.commonName = "new", .issuer = &root, .startsInSeconds = 100});
  const auto oldRoot = MakeIdentity(KeyKind::EcP256, {.commonName = "aged", .endsInSeconds = -1});
  const auto ofOldRoot = MakeIdentity(KeyKind::EcP256, {.commonName = "orphan", .issuer = &oldRoot});
  const auto weak = MakeIdentity(KeyKind::Rsa1024, {.commonName = "weak", .issuer = &root});

  const auto anchors = TrustAnchors::FromPem("comment\n" + root.certificatePem + oldRoot.certificatePem);
  EXPECT_TRUE(anchors->Trusts(*root.certificate));
  EXPECT_TRUE(anchors->Trusts(*middle.certificate));
  EXPECT_TRUE(anchors->Trusts(*leaf.certificate, {middle.certificate, stranger.certificate}));
  EXPECT_FALSE(anchors->Trusts(*leaf.certificate));
  EXPECT_FALSE(anchors->Trusts(*stranger.certificate, {stranger.certificate}));
  EXPECT_FALSE(anchors->Trusts(*forged.certificate, {leaf.certificate, middle.certificate}));
  for (const auto& refused : {expired, early, oldRoot, ofOldRoot, weak}) {
    EXPECT_FALSE(anchors->Trusts(*refused.certificate));
  }
  // An anchor need not be an authority: then it is trusted for itself alone.
  const TrustAnchors pinned({leaf.certificate});
  EXPECT_TRUE(pinned.Trusts(*leaf.certificate));
  EXPECT_FALSE(pinned.Trusts(*middle.certificate));
  EXPECT_FALSE(pinned.Trusts(*forged.certificate));

  for (const auto& broken : {std::string(), std::string("text"), root.certificatePem.substr(0, 200),
                             root.certificatePem + root.certificatePem.substr(0, 200)}) {
    EXPECT_THROW(TrustAnchors::FromPem(broken), XmlSecurityException) << broken;
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/corvane/xml/key.h"
#include "sso/anchorKeyResolver.h"
#include "sso/parseToken.h"
#include "sso/signerCache.h"
#include "sso/ssoExceptions.h"
#include "testing/sso/assertionFactory.h"

namespace {

using namespace SsoClient;
using AssertionFactory::CertificateSpec;
using AssertionFactory::Identity;
using Corvane::MakeRef;
using Corvane::Ref;
using Corvane::Xml::Security::Certificate;
using Corvane::Xml::Security::Key;
using Corvane::Xml::Security::TrustAnchors;
using Chain = std::vector<Ref<Certificate>>;

Identity Make(const CertificateSpec& spec) {
  return AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::EcP256, spec);
}

Identity Issue(const Identity& issuer) {
  return Make({.commonName = "sts", .issuer = &issuer, .isAuthority = false, .keyUsage = "digitalSignature"});
}

std::vector<std::string> Encode(const Chain& chain) {
  std::vector<std::string> encoded;
  for (const auto& certificate : chain) encoded.push_back(certificate->GetDer());
  return encoded;
}

// The same certificate, with the length of its outermost element in more bytes than it needs.
std::string EncodeOtherwise(const Certificate& certificate) {
  const auto der = certificate.GetDer();
  return der.substr(0, 1) + std::string("\x83\0", 2) + der.substr(2);
}

class SignerCacheTest : public testing::Test {
 protected:
  // The key that the resolver gives, null for a signer that isn't trusted.
  static Ref<Key> Resolve(const KeyResolver& resolver, const std::string& token) {
    try {
      return resolver(*ParseAssertion(token));
    } catch (const InvalidSignatureException&) {
      return nullptr;
    }
  }

  static std::string Sign(const Identity& signer, const Chain& others) {
    return AssertionFactory::SignAssertion(AssertionFactory::BuildAssertion(), signer, {.others = others});
  }

  KeyResolver MakeResolver() const {
    return MakeAnchorKeyResolver(MakeRef<TrustAnchors>(Chain{root_.certificate}, "sts"));
  }

  const Identity root_ = Make({.commonName = "root"});
  const Identity middle_ = Make({.commonName = "middle", .issuer = &root_});
  const Identity stranger_ = Make({.commonName = "middle"});
  const Identity signer_ = Issue(middle_);
};

TEST_F(SignerCacheTest, AnswersAsIfThereWereNone) {
  const auto resolver = MakeResolver();
  const auto good = Sign(signer_, {middle_.certificate});
  // The second time, the signer is known.
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Resolve(resolver, Sign(signer_, {})), nullptr);
    EXPECT_EQ(Resolve(resolver, Sign(signer_, {stranger_.certificate})), nullptr);
    EXPECT_EQ(Resolve(resolver, Sign(Issue(stranger_), {middle_.certificate})), nullptr);
    auto broken = good;
    broken.insert(broken.rfind("</ds:X509Certificate>"), "AAAA");
    EXPECT_EQ(Resolve(resolver, broken), nullptr);
    for (const Chain& others : {Chain{middle_.certificate}, Chain{middle_.certificate, root_.certificate},
                                Chain{middle_.certificate, stranger_.certificate}}) {
      const auto key = Resolve(resolver, Sign(signer_, others));
      ASSERT_NE(key, nullptr);
      EXPECT_TRUE(key->Matches(*signer_.key));
    }
  }
  EXPECT_EQ(Resolve(resolver, good), Resolve(resolver, good));
  EXPECT_NE(Resolve(resolver, good), Resolve(MakeResolver(), good));
}

// What anybody can make of a good token's certificates leads to the same signer, but drives nobody out.
TEST_F(SignerCacheTest, IsFilledOnlyByTheAuthorities) {
  const Chain chain = {signer_.certificate, middle_.certificate, root_.certificate};
  SignerCache cache;
  const auto isKept = [&](const std::vector<std::string>& certificates) {
    cache.Keep(certificates, chain, signer_.key);
    return cache.Find(certificates) != nullptr;
  };
  EXPECT_TRUE(isKept(Encode({signer_.certificate})));
  EXPECT_TRUE(isKept(Encode({signer_.certificate, middle_.certificate})));
  EXPECT_TRUE(isKept(Encode(chain)));
  EXPECT_FALSE(isKept(Encode({signer_.certificate, stranger_.certificate})));
  EXPECT_FALSE(isKept(Encode({signer_.certificate, root_.certificate, middle_.certificate})));
  EXPECT_FALSE(
      isKept(Encode({signer_.certificate, middle_.certificate, root_.certificate, root_.certificate})));
  const auto other = EncodeOtherwise(*signer_.certificate);
  ASSERT_EQ(Certificate::FromDer(other)->GetDer(), signer_.certificate->GetDer());
  EXPECT_FALSE(isKept({other}));
  EXPECT_FALSE(isKept({signer_.certificate->GetDer(), EncodeOtherwise(*middle_.certificate)}));
  EXPECT_EQ(cache.Find({signer_.certificate->GetDer() + middle_.certificate->GetDer()}), nullptr);
}

TEST_F(SignerCacheTest, AsksForTheTimeOfTheWholeChain) {
  const auto old = Make({.commonName = "old", .startsInSeconds = -100, .endsInSeconds = -1});
  const auto early = Make({.commonName = "early", .startsInSeconds = 100});
  for (const auto& late : {old, early}) {
    SignerCache cache;
    for (const Chain& chain :
         {Chain{late.certificate}, Chain{signer_.certificate, late.certificate, root_.certificate},
          Chain{signer_.certificate, middle_.certificate, late.certificate}}) {
      cache.Keep(Encode({chain.front()}), chain, signer_.key);
      EXPECT_EQ(cache.Find(Encode({chain.front()})), nullptr);
    }
    // Another chain was found for the same certificates.
    cache.Keep(Encode({signer_.certificate}), {signer_.certificate, root_.certificate}, signer_.key);
    EXPECT_EQ(cache.Find(Encode({signer_.certificate})), signer_.key);
  }
}

TEST_F(SignerCacheTest, ForgetsTheOneThatWasAskedForLongestAgo) {
  SignerCache cache;
  std::vector<Identity> signers;
  for (std::size_t i = 0; i <= SignerCache::kMostSigners; ++i) {
    const auto& signer = signers.emplace_back(Issue(root_));
    cache.Keep(Encode({signer.certificate}), {signer.certificate, root_.certificate}, signer.key);
    // The same twice takes one place.
    cache.Keep(Encode({signer.certificate}), {signer.certificate, root_.certificate}, signer.key);
    EXPECT_EQ(cache.Find(Encode({signers.front().certificate})), signers.front().key);
  }
  EXPECT_EQ(cache.Find(Encode({signers[1].certificate})), nullptr);
  for (std::size_t i = 2; i < signers.size(); ++i) {
    EXPECT_EQ(cache.Find(Encode({signers[i].certificate})), signers[i].key);
  }
}

TEST_F(SignerCacheTest, WorksOnManyThreads) {
  const auto resolver = MakeResolver();
  std::vector<Identity> signers;
  std::vector<std::string> tokens;
  for (std::size_t i = 0; i < SignerCache::kMostSigners + 4; ++i) {
    tokens.push_back(Sign(signers.emplace_back(Issue(root_)), {}));
  }
  std::vector<int> believed(8);
  std::vector<std::thread> threads;
  for (int& count : believed) {
    threads.emplace_back([&] {
      for (std::size_t i = 0; i < 2 * tokens.size(); ++i) {
        const auto key = Resolve(resolver, tokens[i % tokens.size()]);
        count += key != nullptr && key->Matches(*signers[i % tokens.size()].key) ? 1 : 0;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(believed, std::vector<int>(believed.size(), static_cast<int>(2 * tokens.size())));
}

}  // namespace

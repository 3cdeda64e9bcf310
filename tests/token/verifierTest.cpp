#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/token/tokenVerifier.h"
#include "testKit.h"

namespace {

using NornToken::KeySet;
using Cases = std::vector<std::pair<std::string, std::string>>;

constexpr std::int64_t kNow = 1700000000;
const std::string kRsaHeader = R"({"alg":"RS256","kid":"rsa"})";
const std::string kEcHeader = R"({"alg":"ES256","kid":"ec","typ":"JWT"})";
const std::string kParties = R"({"iss":"urn:tessaly:norn:host","aud":"urn:tessaly:norn:hesper",)";
const std::string kRest = R"("sub":"anna","exp":1700000060)";
const std::string kClaims = kParties + kRest + R"(,"entitlements":["A","B"]})";

class TokenVerifierTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    rsa_ = RsaKey();
    ec_ = EcKey();
    std::vector<std::string> notes;
    std::string fault;
    keys_ = KeySet::Parse(SetOf(Jwk(rsa_, "rsa") + "," + Jwk(ec_, "ec")), notes, fault);
  }

  /// The reason of a refusal, or "" for a token that is taken.
  static std::string Verify(const std::string& token, std::int64_t now = kNow) {
    const auto verdict = NornToken::VerifyToken(token, *keys_, now);
    const auto* refusal = std::get_if<NornToken::Refusal>(&verdict);
    return refusal == nullptr ? "" : refusal->reason;
  }

  static inline NornToken::JwkPtr rsa_, ec_;
  static inline std::shared_ptr<const KeySet> keys_;
};

TEST_F(TokenVerifierTest, TakesBothAlgorithms) {
  for (const auto& token : {MakeToken(rsa_, kRsaHeader, kClaims), MakeToken(ec_, kEcHeader, kClaims)}) {
    const auto verdict = NornToken::VerifyToken(token, *keys_, kNow);
    const auto* identity = std::get_if<NornToken::TokenIdentity>(&verdict);
    ASSERT_NE(identity, nullptr) << std::get<NornToken::Refusal>(verdict).reason;
    EXPECT_EQ(identity->subject, "anna");
    EXPECT_EQ(identity->entitlements, (std::vector<std::string>{"A", "B"}));
  }
}

TEST_F(TokenVerifierTest, RefusesHeadersThatBringOrConfuseKeys) {
  const std::string algorithm = "the algorithm is neither RS256 nor ES256";
  const std::string object = "the header is no JSON object with each member once";
  const std::string good = R"({"alg":"ES256","kid":"ec",)";
  const Cases cases = {
      {R"({"alg":"none","kid":"ec"})", algorithm},
      {R"({"alg":"HS256","kid":"rsa"})", algorithm},
      {R"({"alg":"es256","kid":"ec"})", algorithm},
      {R"({"alg":["ES256"],"kid":"ec"})", algorithm},
      {R"({"kid":"ec"})", algorithm},
      {R"({"alg":"RS256","kid":"ec"})", "the key is for another algorithm"},
      {R"({"alg":"ES256","kid":"rsa"})", "the key is for another algorithm"},
      {R"({"alg":"ES256","kid":"other"})", "the key is unknown"},
      {R"({"alg":"ES256"})", "the header names no key"},
      {R"({"alg":"ES256","kid":1})", "the header names no key"},
      {good + R"("jwk":)" + Jwk(ec_, "ec") + "}", "the header brings a key"},
      {good + R"("jku":"http://127.0.0.1/"})", "the header brings a key"},
      {good + R"("x5u":"http://127.0.0.1/"})", "the header brings a key"},
      {good + R"("x5c":[]})", "the header brings a key"},
      {good + R"("crit":["exp"],"exp":1})", "the header has critical extensions"},
      {good + R"("typ":"secevent+jwt"})", "the type is not JWT"},
      {R"({"alg":"none","alg":"ES256","kid":"ec"})", object},
      {R"(["ES256"])", object},
      {good + R"("x":1} x)", object},
      {std::string(5000, '['), object},
  };
  const auto token = MakeToken(ec_, kEcHeader, kClaims);
  for (const auto& [header, reason] : cases) {
    EXPECT_EQ(Verify(Base64Url(header) + token.substr(token.find('.'))), reason) << header;
  }
}

TEST_F(TokenVerifierTest, RefusesClaimsOfOthersAndOfWrongForm) {
  const std::string issuer = "the issuer is another one";
  const std::string audience = "the audience is another one";
  const std::string expiry = "exp is missing or no date";
  const std::string subject = "the subject is missing or no name";
  const std::string entitlements = "the entitlements are no list of names";
  const std::string object = "the claims are no JSON object with each member once";
  const std::string forAudience = R"({"iss":"urn:tessaly:norn:host",)" + kRest + R"(,"aud":)";
  const std::string expiring = kParties + R"("sub":"a","exp":)";
  const std::string named = kParties + R"("exp":1700000060,"sub":")";
  const std::string granting = kParties + kRest + R"(,"entitlements":)";
  std::string many = R"(["a")";
  for (int i = 0; i < 64; ++i) many += R"(,"a")";
  const Cases cases = {
      {R"({"aud":"urn:tessaly:norn:hesper",)" + kRest + "}", issuer},
      {R"({"iss":"urn:tessaly:norn:hosts","aud":"urn:tessaly:norn:hesper",)" + kRest + "}", issuer},
      {R"({"iss":"urn:tessaly:norn:host",)" + kRest + "}", audience},
      {forAudience + R"("urn:tessaly:norn"})", audience},
      {forAudience + "[]}", audience},
      {forAudience + R"(["other",["urn:tessaly:norn:hesper"]]})", audience},
      {forAudience + many + R"(,"urn:tessaly:norn:hesper"]})", audience},
      {forAudience + R"(["other","urn:tessaly:norn:hesper"]})", ""},
      {kParties + R"("sub":"anna"})", expiry},
      {expiring + R"("1700000060"})", expiry},
      {expiring + "1700000060.0}", expiry},
      {expiring + "2e9}", expiry},
      {expiring + "-1}", expiry},
      {expiring + "9223372036854775807}", expiry},
      {expiring + "18446744073709551617}", object},
      {kParties + kRest + R"(,"nbf":"1"})", "nbf is no date"},
      {kParties + kRest + R"(,"exp":1900000000})", object},
      {kParties + R"("exp":1700000060})", subject},
      {named + "\"}", subject},
      {named + R"(a\nb"})", subject},
      {named + std::string(257, 'a') + "\"}", subject},
      {granting + R"("A"})", entitlements},
      {granting + R"(["A",1]})", entitlements},
      {granting + many + "]}", entitlements},
      {kParties + kRest + "}", ""},
      {"[]", object},
      {kParties + kRest + R"(,"x":"\u0000"})", object},
      {kParties + kRest + ",\"x\":\"\xff\"}", object},
  };
  for (const auto& [claims, reason] : cases) {
    EXPECT_EQ(Verify(MakeToken(ec_, kEcHeader, claims)), reason) << claims;
  }
}

TEST_F(TokenVerifierTest, AllowsAMinuteOfSkew) {
  const auto token = MakeToken(ec_, kEcHeader, kParties + R"("sub":"a","nbf":2000,"exp":3000})");
  EXPECT_EQ(Verify(token, 1939), "it is not valid yet");
  EXPECT_EQ(Verify(token, 1940), "");
  EXPECT_EQ(Verify(token, 3059), "");
  EXPECT_EQ(Verify(token, 3060), "it has expired");
}

TEST_F(TokenVerifierTest, RefusesForgedSignatures) {
  const auto token = MakeToken(ec_, kEcHeader, kClaims);
  const auto signature = token.substr(token.rfind('.'));
  const auto start = token.substr(0, token.rfind('.') + 1);
  for (const auto& forged : {
           MakeToken(EcKey(), kEcHeader, kClaims),
           start,
           start + Base64Url(std::string(64, '\0')),
           start + Base64Url(std::string(63, 'x')),
           start + Base64Url(std::string(65, 'x')),
           Base64Url(kEcHeader + " ") + "." + Base64Url(kClaims) + signature,
           Base64Url(kEcHeader) + "." + Base64Url(kClaims + " ") + signature,
           Base64Url(kRsaHeader) + "." + Base64Url(kClaims) + signature,
       }) {
    EXPECT_EQ(Verify(forged), "the signature is wrong") << forged;
  }
}

TEST_F(TokenVerifierTest, TakesOneSpellingOfATokenOnly) {
  const auto token = MakeToken(ec_, kEcHeader, kClaims);
  ASSERT_EQ(Verify(token), "");
  // A signature leaves four bits of its last digit unused; the next digit sets the lowest of them.
  auto bent = token;
  ++bent.back();
  for (const auto& other : {token + "=", token + "==", token + " ", token + "\n", token + "+", token + "/",
                            token + "AAA", " " + token, bent}) {
    EXPECT_EQ(Verify(other), "a part is no base64url text") << other;
  }
  for (const auto& other : {token + ".", token.substr(0, token.rfind('.')), std::string()}) {
    EXPECT_EQ(Verify(other), "it does not have three parts") << other;
  }
  EXPECT_EQ(Verify(std::string(8193, 'A')), "it is too long");
}

}  // namespace

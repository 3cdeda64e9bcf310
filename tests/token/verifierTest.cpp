#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "lib/token/base64Url.h"
#include "lib/token/tokenVerifier.h"
#include "testKit.h"

namespace {

using NornToken::KeySet;
using Cases = std::vector<std::pair<std::string, std::vector<std::string>>>;

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

  // The reason of a refusal, or "" for a token that is taken.
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
  const std::string good = R"({"alg":"ES256","kid":"ec",)";
  const Cases cases = {
      {"the algorithm is neither RS256 nor ES256",
       {R"({"alg":"none","kid":"ec"})", R"({"alg":"HS256","kid":"rsa"})", R"({"alg":"es256","kid":"ec"})",
        R"({"alg":["ES256"],"kid":"ec"})", R"({"kid":"ec"})"}},
      {"the key is for another algorithm",
       {R"({"alg":"RS256","kid":"ec"})", R"({"alg":"ES256","kid":"rsa"})"}},
      {"the key is unknown", {R"({"alg":"ES256","kid":"other"})"}},
      {"the header names no key", {R"({"alg":"ES256"})", R"({"alg":"ES256","kid":1})"}},
      {"the header brings a key",
       {good + R"("jwk":)" + Jwk(ec_, "ec") + "}", good + R"("jku":"http://127.0.0.1/"})",
        good + R"("x5u":"http://127.0.0.1/"})", good + R"("x5c":[]})"}},
      {"the header has critical extensions", {good + R"("crit":["exp"],"exp":1})"}},
      {"the type is not JWT", {good + R"("typ":"secevent+jwt"})"}},
      {"the header is no JSON object with each member once",
       {R"({"alg":"none","alg":"ES256","kid":"ec"})", R"(["ES256"])", good + R"("x":1} x)",
        std::string(1024, '[')}},
      {"the header is too long", {std::string(1025, '[')}},
  };
  const auto token = MakeToken(ec_, kEcHeader, kClaims);
  for (const auto& [reason, headers] : cases) {
    for (const auto& header : headers) {
      EXPECT_EQ(Verify(Base64Url(header) + token.substr(token.find('.'))), reason) << header;
    }
  }
}

TEST_F(TokenVerifierTest, RefusesClaimsOfOthersAndOfWrongForm) {
  const std::string forAudience = R"({"iss":"urn:tessaly:norn:host",)" + kRest + R"(,"aud":)";
  const std::string expiring = kParties + R"("sub":"a","exp":)";
  const std::string named = kParties + R"("exp":1700000060,"sub":")";
  const std::string granting = kParties + kRest + R"(,"entitlements":)";
  std::string many = R"(["a")";
  for (int i = 0; i < 64; ++i) many += R"(,"a")";
  const Cases cases = {
      {"", {kParties + kRest + "}", forAudience + R"(["other","urn:tessaly:norn:hesper"]})"}},
      {"the issuer is another one",
       {R"({"aud":"urn:tessaly:norn:hesper",)" + kRest + "}",
        R"({"iss":"urn:tessaly:norn:hosts","aud":"urn:tessaly:norn:hesper",)" + kRest + "}"}},
      {"the audience is another one",
       {R"({"iss":"urn:tessaly:norn:host",)" + kRest + "}", forAudience + R"("urn:tessaly:norn"})",
        forAudience + "[]}", forAudience + R"(["other",["urn:tessaly:norn:hesper"]]})",
        forAudience + many + R"(,"urn:tessaly:norn:hesper"]})"}},
      {"exp is missing or no date",
       {kParties + R"("sub":"anna"})", expiring + R"("1700000060"})", expiring + "-0.5}", expiring + "2e12}",
        expiring + "-1}", expiring + "9223372036854775807}"}},
      {"nbf is no date", {kParties + kRest + R"(,"nbf":"1"})"}},
      {"the subject is missing or no name",
       {kParties + R"("exp":1700000060})", named + "\"}", named + R"(a\nb"})",
        named + std::string(257, 'a') + "\"}"}},
      {"the entitlements are no list of names",
       {granting + R"("A"})", granting + R"(["A",1]})", granting + many + "]}"}},
      {"the claims are no JSON object with each member once",
       {expiring + "18446744073709551617}", kParties + kRest + R"(,"exp":1900000000})", "[]",
        kParties + kRest + R"(,"x":"\u0000"})", kParties + kRest + ",\"x\":\"\xff\"}"}},
  };
  for (const auto& [reason, texts] : cases) {
    for (const auto& claims : texts) EXPECT_EQ(Verify(MakeToken(ec_, kEcHeader, claims)), reason) << claims;
  }
}

TEST_F(TokenVerifierTest, AllowsAMinuteOfSkew) {
  for (const char* dates : {R"("nbf":2000,"exp":3000})", R"("nbf":1999.5,"exp":2999.5})"}) {
    const auto token = MakeToken(ec_, kEcHeader, kParties + R"("sub":"a",)" + dates);
    EXPECT_EQ(Verify(token, 1939), "it is not valid yet");
    EXPECT_EQ(Verify(token, 1940), "");
    EXPECT_EQ(Verify(token, 3059), "");
    EXPECT_EQ(Verify(token, 3060), "it has expired");
  }
}

TEST_F(TokenVerifierTest, RefusesForgedSignatures) {
  const auto token = MakeToken(ec_, kEcHeader, kClaims);
  const auto signature = token.substr(token.rfind('.'));
  const auto start = token.substr(0, token.rfind('.') + 1);
  std::string padded;
  ASSERT_TRUE(NornToken::DecodeBase64Url(token.substr(start.size()), padded));
  padded.insert(32, 1, '\0').insert(0, 1, '\0');
  for (const auto& forged : {
           MakeToken(EcKey(), kEcHeader, kClaims),
           start,
           start + Base64Url(std::string(64, '\0')),
           start + Base64Url(std::string(63, 'x')),
           start + Base64Url(std::string(65, 'x')),
           start + Base64Url(padded),
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

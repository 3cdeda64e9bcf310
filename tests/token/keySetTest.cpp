#include "lib/token/keySet.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "testKit.h"

namespace {

struct Parsed {
  explicit Parsed(const std::string& text) : keys(NornToken::KeySet::Parse(text, notes, fault)) {}

  std::vector<std::string> notes;
  std::string fault;
  std::shared_ptr<const NornToken::KeySet> keys;
};

TEST(KeySetTest, LeavesOutKeysThatMustNotCheckTokens) {
  const auto ec = EcKey();
  const auto rsa = RsaKey();
  const std::string point = Base64Url(std::string(32, 'x'));
  const std::string odd(256, '\xff');
  const auto rsaWith = [](const std::string& n, const std::string& e) {
    return R"({"kid":"k","kty":"RSA","n":")" + Base64Url(n) + R"(","e":")" + e + "\"}";
  };
  const auto ecWith = [](const std::string& x, const std::string& y) {
    return R"({"kid":"k","kty":"EC","crv":"P-256","x":")" + x + R"(","y":")" + y + "\"}";
  };
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"its RSA modulus is not of at least 2048 bits",
       {Jwk(RsaKey(1024), "k"), rsaWith(std::string(200, '\0') + std::string(128, '\xff'), "AQAB")}},
      {"its RSA modulus is of more than 8192 bits", {rsaWith(std::string(1025, '\xff'), "AQAB")}},
      {"its RSA modulus is even", {rsaWith(std::string(256, '\xfe'), "AQAB")}},
      {"its RSA exponent is unusual",
       {rsaWith(odd, "AQ"), rsaWith(odd, "AQAA"), rsaWith(odd, "AQAB="), rsaWith(odd, "AQEBAQE")}},
      {"it is not on the curve P-256", {Jwk(EcKey(CJOSE_JWK_EC_P_384), "k")}},
      {"it is no key", {ecWith(point, point)}},
      {"its coordinates are not of 32 bytes", {ecWith(point + "=", point)}},
      {"its use is not sig", {Jwk(ec, "k", R"(,"use":"enc")"), Jwk(ec, "k", R"(,"use":["sig"])")}},
      {"its key_ops have no verify",
       {Jwk(ec, "k", R"(,"key_ops":["sign"])"), Jwk(ec, "k", R"(,"key_ops":"verify")")}},
      {"its alg is not the one of its kty",
       {Jwk(ec, "k", R"(,"alg":"RS256")"), Jwk(rsa, "k", R"(,"alg":"PS256")")}},
      {"it has private or symmetric parts",
       {Jwk(ec, "k", R"(,"d":"AA")"), R"({"kid":"k","kty":"oct","k":"AAAA"})"}},
      {"its kty is neither RSA nor EC", {R"({"kid":"k","kty":"OKP","crv":"Ed25519","x":"AAAA"})"}},
      {"it has no kid", {Jwk(ec, ""), R"("k")"}},
  };
  const auto good = Jwk(ec, "good", R"(,"use":"sig","alg":"ES256","key_ops":["sign","verify"])");
  for (const auto& [reason, jwks] : cases) {
    for (const auto& jwk : jwks) {
      const Parsed parsed(SetOf(jwk + "," + good));
      ASSERT_NE(parsed.keys, nullptr) << jwk;
      EXPECT_TRUE(parsed.keys->size() == 1 && parsed.keys->Find("good")) << jwk;
      EXPECT_EQ(parsed.notes, std::vector<std::string>{"key 1 is left out: " + reason}) << jwk;
    }
  }
}

TEST(KeySetTest, TrustsNoKidThatOccursTwice) {
  const auto key = Jwk(EcKey(), "k");
  const auto unusable = Jwk(EcKey(), "k", R"(,"use":"enc")");
  for (const auto& keys : {key + "," + Jwk(EcKey(), "k"), key + "," + unusable, unusable + "," + key,
                           key + "," + key + "," + key}) {
    const Parsed parsed(SetOf(keys));
    ASSERT_NE(parsed.keys, nullptr);
    EXPECT_EQ(parsed.keys->size(), 0U) << keys;
  }
}

TEST(KeySetTest, RefusesTextsThatAreNoKeySet) {
  const auto jwk = Jwk(EcKey(), "k");
  const auto whole = SetOf(jwk);
  std::string many = "1";
  for (int i = 0; i < 256; ++i) many += ",1";
  for (const std::string& text : {std::string(), std::string("[]"), std::string(R"({"keys":{}})"), jwk,
                                  whole.substr(0, whole.size() - 1), whole + "x", SetOf(many),
                                  R"({"keys":[],)" + whole.substr(1), SetOf(R"({"kid":"k","kid":"j"})")}) {
    const Parsed parsed(text);
    EXPECT_EQ(parsed.keys, nullptr) << text;
    EXPECT_FALSE(parsed.fault.empty()) << text;
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/securitySchemes.h"
#include "platform/token/jwtEntitlementChecker.h"
#include "platform/token/tokenHandler.h"
#include "platform/token/tokenVerifier.h"
#include "testKit.h"

namespace {

using Mirel::Core::SecurityContextWrappedEntry;
using Mirel::Data::DataType;
using Mirel::Data::DataValue;
using Mirel::Data::DataValuePtr;
using Mirel::Data::StringValue;
using Norn::Authn::TokenHandler;
namespace Security = Mirel::Core::Security;

constexpr const char* kHeader = R"({"alg":"ES256","kid":"k"})";
constexpr const char* kClaims =
    R"({"iss":"urn:tessaly:norn:host","aud":"urn:tessaly:norn:hesper","sub":"anna","exp":2000,)"
    R"("entitlements":["OTHER","GUEST_DATA_ACCESS"]})";

class TokenHandlerTest : public testing::Test {
 protected:
  TokenHandlerTest() {
    folder_.Replace("jwks.json", SetOf(Jwk(key_, "k")));
    handler_ = std::make_unique<TokenHandler>(
        log_, std::make_unique<NornToken::TokenVerifier>(
                  std::make_unique<NornToken::KeyFile>(folder_.Path("jwks.json"), nullptr),
                  [this] { return now_; }));
  }

  DataValuePtr Authenticate(const std::map<std::string, std::string>& entries) {
    const auto context = std::make_shared<Mirel::Core::ExecutionContext>();
    for (const auto& [name, text] : entries) {
      context->securityContext.emplace(name, SecurityContextWrappedEntry(text));
    }
    DataValuePtr answer;
    int answers = 0;
    handler_->AsyncAuthenticate(Mirel::Core::AsyncActivation::GetInstance(context), [&](const auto& value) {
      answer = value;
      ++answers;
    });
    EXPECT_EQ(answers, 1);
    return answer;
  }
  DataValuePtr AuthenticateToken(const std::string& token) {
    return Authenticate(
        {{Security::kSchemeIdKey, Security::kBearerTokenScheme}, {Security::kTokenKey, token}});
  }

  const NornToken::JwkPtr key_ = EcKey();
  std::int64_t now_ = 1000;
  TokenFolder folder_;
  std::shared_ptr<KeptLog> log_ = std::make_shared<KeptLog>();
  std::unique_ptr<TokenHandler> handler_;
};

TEST_F(TokenHandlerTest, GoodTokenGivesItsSubjectAndWhatItGrants) {
  const auto answer = AuthenticateToken(MakeToken(key_, kHeader, kClaims));
  ASSERT_NE(answer, nullptr);
  ASSERT_EQ(answer->type(), DataType::Structure);
  const auto& data = static_cast<const Mirel::Data::StructValue&>(*answer);
  EXPECT_EQ(static_cast<const StringValue&>(*data.GetField("username")).value(), "anna");
  EXPECT_TRUE(log_->lines.empty());

  const NornToken::Authz::JwtEntitlementCheckerImpl checker(log_);
  EXPECT_TRUE(checker.IsEntitled(*answer, {"GUEST_DATA_ACCESS", "UNHELD"}));
  EXPECT_FALSE(checker.IsEntitled(*answer, {"guest_data_access", "GUEST_DATA"}));
  EXPECT_FALSE(checker.IsEntitled(*answer, {}));
}

TEST_F(TokenHandlerTest, RefusalTellsTheClientNothingAndTheLogNoPartOfTheToken) {
  const auto token = MakeToken(key_, kHeader, kClaims);
  now_ = 2060;
  const auto answer = AuthenticateToken(token);
  ASSERT_NE(answer, nullptr);
  ASSERT_EQ(answer->type(), DataType::Error);
  EXPECT_EQ(static_cast<const Mirel::Data::ErrorValue&>(*answer).ToString(),
            "com.tessaly.mirel.std.errors.unauthenticated");
  EXPECT_EQ(log_->lines, std::vector<std::string>{"Token refused: it has expired"});
  const auto withoutToken = Authenticate({{Security::kSchemeIdKey, Security::kBearerTokenScheme}});
  ASSERT_NE(withoutToken, nullptr);
  EXPECT_EQ(withoutToken->type(), DataType::Error);
}

TEST_F(TokenHandlerTest, CallsOfOtherSchemesAreNotItsBusiness) {
  const auto token = MakeToken(key_, kHeader, kClaims);
  EXPECT_EQ(Authenticate({}), nullptr);
  EXPECT_EQ(Authenticate({{Security::kTokenKey, token}}), nullptr);
  EXPECT_EQ(Authenticate({{Security::kSchemeIdKey, Security::kUserPassScheme}, {Security::kTokenKey, token}}),
            nullptr);
  EXPECT_TRUE(log_->lines.empty());
}

TEST(EntitlementChecker, ReadsNoGrantsOutOfDataOfAnotherForm) {
  const NornToken::Authz::JwtEntitlementCheckerImpl checker(nullptr);
  const auto text = DataValue::Create("GUEST_DATA_ACCESS");
  const auto data = Mirel::Data::StructValue::GetInstance("any");
  EXPECT_FALSE(checker.IsEntitled(*data, {"GUEST_DATA_ACCESS"}));
  EXPECT_FALSE(checker.IsEntitled(*text, {"GUEST_DATA_ACCESS"}));
  data->SetField(TokenHandler::ENTITLEMENTS_GRANTS, text);
  EXPECT_FALSE(checker.IsEntitled(*data, {"GUEST_DATA_ACCESS"}));
  const auto list = Mirel::Data::ListValue::GetInstance();
  list->Add(DataValue::Create(std::int64_t{1}));
  data->SetField(TokenHandler::ENTITLEMENTS_GRANTS, list);
  EXPECT_FALSE(checker.IsEntitled(*data, {"GUEST_DATA_ACCESS"}));
  list->Add(text);
  EXPECT_TRUE(checker.IsEntitled(*data, {"GUEST_DATA_ACCESS"}));
}

}  // namespace

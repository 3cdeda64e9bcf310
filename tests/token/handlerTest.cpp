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

using namespace Mirel::Data;
using Norn::Authn::TokenHandler;
using NornToken::Authz::JwtEntitlementCheckerImpl;
namespace Security = Mirel::Core::Security;

constexpr const char* kHeader = R"({"alg":"ES256","kid":"k"})";
constexpr const char* kClaims =
    R"({"iss":"urn:tessaly:norn:host","aud":"urn:tessaly:norn:hesper","sub":"anna","exp":2000,)"
    R"("entitlements":["OTHER","GUEST_DATA_ACCESS"]})";

class TokenHandlerTest : public testing::Test {
 protected:
  TokenHandlerTest() {
    Replace(keysFile_, SetOf(Jwk(key_, "k")));
    handler_ = std::make_unique<TokenHandler>(
        log_, std::make_unique<NornToken::TokenVerifier>(
                  std::make_unique<NornToken::KeyFile>(keysFile_, nullptr), [this] { return now_; }));
  }

  DataValuePtr Authenticate(const std::map<std::string, std::string>& entries) {
    const auto context = std::make_shared<Mirel::Core::ExecutionContext>();
    for (const auto& [name, text] : entries) {
      context->securityContext.emplace(name, Mirel::Core::SecurityContextWrappedEntry(text));
    }
    std::vector<DataValuePtr> answers;
    handler_->AsyncAuthenticate(Mirel::Core::AsyncActivation::GetInstance(context),
                                [&](const auto& value) { answers.push_back(value); });
    EXPECT_EQ(answers.size(), 1U);
    return answers.at(0);
  }
  DataValuePtr Authenticate() {
    return Authenticate(
        {{Security::kSchemeIdKey, Security::kBearerTokenScheme}, {Security::kTokenKey, token_}});
  }

  const NornToken::JwkPtr key_ = EcKey();
  const std::string token_ = MakeToken(key_, kHeader, kClaims);
  std::int64_t now_ = 1000;
  TemporaryFolder folder_;
  const std::string keysFile_ = folder_ / "jwks.json";
  std::shared_ptr<KeptLog> log_ = std::make_shared<KeptLog>();
  std::unique_ptr<TokenHandler> handler_;
};

TEST_F(TokenHandlerTest, GoodTokenGivesItsSubjectAndWhatItGrants) {
  const auto answer = Authenticate();
  ASSERT_TRUE(answer && answer->type() == DataType::Structure);
  const auto name = static_cast<const StructValue&>(*answer).GetField("username");
  EXPECT_EQ(static_cast<const StringValue&>(*name).value(), "anna");
  const JwtEntitlementCheckerImpl checker(log_);
  EXPECT_TRUE(checker.IsEntitled(*answer, {"GUEST_DATA_ACCESS", "UNHELD"}));
  EXPECT_FALSE(checker.IsEntitled(*answer, {"guest_data_access", "GUEST_DATA"}));
  EXPECT_TRUE(log_->lines.empty());
}

TEST_F(TokenHandlerTest, RefusalTellsTheClientNothingAndTheLogNoPartOfTheToken) {
  now_ = 2060;
  const auto answer = Authenticate();
  ASSERT_TRUE(answer && answer->type() == DataType::Error);
  EXPECT_EQ(static_cast<const ErrorValue&>(*answer).ToString(),
            "com.tessaly.mirel.std.errors.unauthenticated");
  EXPECT_EQ(log_->lines, std::vector<std::string>{"Token refused: it has expired"});
  const auto withoutToken = Authenticate({{Security::kSchemeIdKey, Security::kBearerTokenScheme}});
  EXPECT_TRUE(withoutToken && withoutToken->type() == DataType::Error);
}

TEST_F(TokenHandlerTest, CallsOfOtherSchemesAreNotItsBusiness) {
  EXPECT_EQ(Authenticate({}), nullptr);
  EXPECT_EQ(Authenticate({{Security::kTokenKey, token_}}), nullptr);
  EXPECT_EQ(
      Authenticate({{Security::kSchemeIdKey, Security::kUserPassScheme}, {Security::kTokenKey, token_}}),
      nullptr);
}

TEST(EntitlementChecker, ReadsNoGrantsOutOfDataOfAnotherForm) {
  const auto isEntitled = [](const DataValue& data) {
    return JwtEntitlementCheckerImpl(nullptr).IsEntitled(data, {"GUEST_DATA_ACCESS"});
  };
  const auto text = DataValue::Create("GUEST_DATA_ACCESS");
  const auto data = StructValue::GetInstance("any");
  EXPECT_FALSE(isEntitled(*data) || isEntitled(*text));
  data->SetField(TokenHandler::ENTITLEMENTS_GRANTS, text);
  EXPECT_FALSE(isEntitled(*data));
  const auto list = ListValue::GetInstance();
  list->Add(DataValue::Create(std::int64_t{1}));
  data->SetField(TokenHandler::ENTITLEMENTS_GRANTS, list);
  EXPECT_FALSE(isEntitled(*data));
}

}  // namespace

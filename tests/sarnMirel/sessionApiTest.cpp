// The session service as a client sees it: JSON in, JSON out, through the handler in front of it.

#include <gmock/gmock.h>

#include "framework/metadata/providerHelper.h"
#include "framework/provider/asyncApiInterface.h"
#include "framework/provider/asyncAuthnFilter.h"
#include "framework/provider/asyncLocalProvider.h"
#include "framework/provider/localization.h"
#include "lib/sarnMirel/sessionHandler.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "platform/corvane/log.h"
#include "testing/jsonRequest.h"
#include "testing/metadataDocument.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace {

using namespace Mirel;
using Testing::Answer;
using Testing::Deserialize;
using testing::HasSubstr;
using Testing::Typed;
using Testing::Understood;

class SessionApiTest : public testing::Test {
 protected:
  SessionApiTest() {
    using Com::Tessaly::Ombra::SessionSvc::AsyncServiceBinder;
    bound = AsyncServiceBinder::BindImplementation(
        std::make_shared<SarnMirel::SessionServiceImpl>(mapping, logger, nullptr),
        L10n::LocalizerHelpers::GetDefaultLocalizer());
    chain = std::make_shared<Authn::Filter::AsyncAuthnFilter>(
        std::make_shared<Provider::AsyncLocalProvider<std::mutex>>(
            [](const auto& job) { job(); },
            Provider::AsyncApiInterfaceConcurrentContainer<std::mutex>::GetInstance({bound})),
        std::make_shared<SarnMirel::Authn::SessionHandler>(mapping, logger, nullptr));
  }

  std::string Call(const std::string& operation, const std::string& securityContext,
                   const std::string& input = "{}", const Data::DataValuePtr& login = nullptr) {
    Understood request;
    EXPECT_FALSE(Deserialize(R"({"jsonrpc":"2.0","id":1,"method":"com.tessaly.ombra.session.)" + operation +
                                 R"(","params":{"ctx":{"securityCtx":)" + securityContext + R"(},"input":)" +
                                 input + "}}",
                             request));
    const auto activation = Core::AsyncActivation::GetInstance(request.context);
    activation->authData(login);
    std::string answer;
    chain->Invoke(request.method, request.input, activation,
                  Core::AsyncApiResultCb(
                      [&](const auto& result, const auto&, const auto&) { answer = Answer<Typed>(result); }));
    return answer;
  }

  std::shared_ptr<SarnMirel::SessionMapping> mapping = std::make_shared<SarnMirel::SessionMapping>(10);
  Corvane::Ref<Corvane::Service::Logger> logger = Corvane::Service::Logger::Create({.level = 3});
  std::shared_ptr<const Provider::AsyncApiInterface> bound;
  std::shared_ptr<Core::AsyncApiProvider> chain;
};

TEST_F(SessionApiTest, LoginOnceThenNameTheSession) {
  const auto created = Call("create", "{}", "{}", Bridge::Login("alice"));
  ASSERT_THAT(created, testing::MatchesRegex(R"(.*"result":\{"secret":"[0-9a-f]{40}"\}\})"));
  const auto session = R"({"schemeId":"com.tessaly.mirel.std.security.session_id","sessionId":)" +
                       created.substr(created.rfind(':') + 1, 42) + "}";
  EXPECT_THAT(Call("get", session), HasSubstr(R"("fields":{"user":"alice","created_time":"2)"));
  EXPECT_THAT(Call("get", session, R"({"id":1})"), HasSubstr("unexpected_input"));
  EXPECT_THAT(Call("create", "{}"), HasSubstr(Bridge::kRefused));
  EXPECT_THAT(Call("delete", session), HasSubstr(R"("result":null)"));
  EXPECT_THAT(Call("get", session), HasSubstr(Bridge::kRefused));
}

TEST_F(SessionApiTest, MetadataSaysWhatTheCodeDoes) {
  using namespace Testing;
  using Provider::Metadata::ProviderHelper;
  // The model that both refer to is checked with each of them.
  const auto cli = ProviderHelper::LoadCliMetadataFile(
      "com.tessaly.ombra", METADATA_FILE, Provider::Metadata::Cli::MetadataContainer::GetInstance());
  EXPECT_FALSE(cli) << cli->ToString();
  const auto authn = ProviderHelper::LoadAuthnMetadataFile(
      "com.tessaly.ombra", METADATA_FILE,
      Provider::Metadata::Authentication::MetadataContainer::GetInstance());
  EXPECT_FALSE(authn) << authn->ToString();

  const auto file = ReadJson(METADATA_FILE);
  Texts operations;
  for (const auto& operation : bound->Operations()) operations.insert(operation.name);
  EXPECT_EQ(Collect(ById(At(file, "/metamodel/services"), bound->ServiceName())["operations"], "id"),
            operations);
}

}  // namespace

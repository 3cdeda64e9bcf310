// The session service as a client sees it: JSON in, JSON out, through the handlers in front of it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bindings/sessionAdapter.h"
#include "framework/authz/authzInfo.h"
#include "framework/authz/loadAuthzInfoMetadata.h"
#include "framework/metadata/providerHelper.h"
#include "framework/provider/asyncApiInterface.h"
#include "framework/provider/asyncAuthnFilter.h"
#include "framework/provider/asyncLocalProvider.h"
#include "framework/provider/localization.h"
#include "lib/sarnMirel/sessionHandler.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "lib/sarnMirel/sessionServiceImpl.h"
#include "lib/sarnMirel/userPassHandler.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/log.h"
#include "tests/json/jsonRequest.h"
#include "tests/metadata/metadataDocument.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace {

using namespace Mirel;
using Corvane::Service::Logger;
using Corvane::System::AuthTokenHelper;
using testing::HasSubstr;
using testing::MatchesRegex;

class SessionApi : public testing::Test {
 protected:
  SessionApi() {
    using Com::Tessaly::Ombra::SessionSvc::AsyncServiceBinder;
    using Container = Provider::AsyncApiInterfaceConcurrentContainer<std::mutex>;
    bound = AsyncServiceBinder::BindImplementation(
        std::make_shared<SarnMirel::SessionServiceImpl>(mapping, logger, nullptr),
        L10n::LocalizerHelpers::GetDefaultLocalizer());
    const auto local = std::make_shared<Provider::AsyncLocalProvider<std::mutex>>(
        [](const auto& job) { job(); }, Container::GetInstance({bound}));
    const auto password = std::make_shared<SarnMirel::Authn::UserPassHandler>(
        [](const auto& user, const auto&) { return Corvane::MakeRef<AuthTokenHelper>(user); }, logger,
        [](auto* helper, const auto& authData) {
          authData->SetField("authTokenHelper",
                             Bridge::Login(helper->GetUserName())->GetField("authTokenHelper"));
          return true;
        });
    const auto session = std::make_shared<SarnMirel::Authn::SessionHandler>(mapping, logger, nullptr);
    chain = std::make_shared<Authn::Filter::AsyncAuthnFilter>(
        std::make_shared<Authn::Filter::AsyncAuthnFilter>(local, session), password);
  }

  std::string Call(const std::string& operation, const std::string& securityContext,
                   const std::string& input = "{}") {
    Understood request;
    EXPECT_FALSE(Deserialize(R"({"jsonrpc":"2.0","id":1,"method":"com.tessaly.ombra.session.)" + operation +
                                 R"(","params":{"ctx":{"securityCtx":)" + securityContext + R"(},"input":)" +
                                 input + "}}",
                             request));
    std::string answer;
    chain->Invoke(request.method, request.input, Core::AsyncActivation::GetInstance(request.context),
                  Core::AsyncApiResultCb(
                      [&](const auto& result, const auto&, const auto&) { answer = Answer<Typed>(result); }));
    return answer;
  }

  std::shared_ptr<SarnMirel::SessionMapping> mapping = std::make_shared<SarnMirel::SessionMapping>(10);
  Corvane::Ref<Logger> logger = Logger::Create({.level = 3});
  std::shared_ptr<const Provider::AsyncApiInterface> bound;
  std::shared_ptr<Core::AsyncApiProvider> chain;
};

constexpr char kAlice[] =
    R"({"schemeId":"com.tessaly.mirel.std.security.user_pass","userName":"alice","password":"p"})";
constexpr char kRefused[] = R"("error":"com.tessaly.mirel.std.errors.unauthenticated")";

TEST_F(SessionApi, LoginOnceThenNameTheSession) {
  const auto created = Call("create", kAlice);
  ASSERT_THAT(created, MatchesRegex(R"(.*"result":\{"secret":"[0-9a-f]{40}"\}\})"));
  const auto id = created.substr(created.rfind(':') + 2, 40);
  const auto session =
      R"({"schemeId":"com.tessaly.mirel.std.security.session_id","sessionId":")" + id + R"("})";
  EXPECT_THAT(Call("get", session), HasSubstr(R"("fields":{"user":"alice","created_time":"2)"));
  EXPECT_THAT(Call("get", session, R"({"id":1})"), HasSubstr("unexpected_input"));
  EXPECT_THAT(Call("get", kAlice), HasSubstr(kRefused));
  EXPECT_THAT(Call("create", "{}"), HasSubstr(kRefused));
  EXPECT_THAT(Call("delete", session), HasSubstr(R"("result":null)"));
  EXPECT_THAT(Call("get", session), HasSubstr(kRefused));
  EXPECT_THAT(Call("list", kAlice), HasSubstr("operation_not_found"));
}

TEST_F(SessionApi, MetadataSaysWhatTheCodeDoes) {
  using namespace MetadataTest;
  using Provider::Metadata::ProviderHelper;
  namespace Metadata = Provider::Metadata;
  const char* const component = "com.tessaly.ombra";
  const std::string fileName = METADATA_FILE;
  const auto show = [](const Data::ErrorValuePtr& error) { return error ? error->ToString() : "good"; };
  EXPECT_EQ(show(ProviderHelper::LoadMetamodelMetadataFile(
                component, fileName, Metadata::Metamodel::MetadataContainer::GetInstance())),
            "good");
  EXPECT_EQ(show(ProviderHelper::LoadCliMetadataFile(component, fileName,
                                                     Metadata::Cli::MetadataContainer::GetInstance())),
            "good");
  EXPECT_EQ(show(ProviderHelper::LoadAuthnMetadataFile(
                component, fileName, Metadata::Authentication::MetadataContainer::GetInstance())),
            "good");
  std::ifstream stream(fileName);
  MessageList messages;
  EXPECT_TRUE(Authz::Metadata::LoadAuthzInfoMetadata::Load(stream, std::make_shared<Authz::AuthzInfo>(),
                                                           nullptr, messages));

  const auto file = ReadJson(fileName.c_str());
  const auto& service = ById(At(file, "/metamodel/services"), bound->ServiceName());
  Texts operations;
  for (const auto& operation : bound->Operations()) operations.insert(operation.name);
  EXPECT_EQ(Collect(service["operations"], "id"), operations);
  using Com::Tessaly::Ombra::SessionSvc::Info;
  const auto info = Data::AdaptMethod<Info>::Get()(Info(), L10n::MakeDefaultRequestLocalizer(), messages);
  Texts fields;
  for (const auto& [name, value] : dynamic_cast<const Data::StructValue&>(*info).fields())
    fields.insert(name);
  EXPECT_EQ(Collect(ById(At(file, "/metamodel/structures"), Info::kStructureName)["fields"], "name"), fields);
}

}  // namespace

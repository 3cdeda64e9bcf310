#include <gmock/gmock.h>

#include "framework/core/executionContext.h"
#include "lib/sarnMirel/samlHokHandler.h"
#include "lib/sarnMirel/sessionHandler.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "lib/sarnMirel/userPassHandler.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/exception.h"
#include "platform/corvane/log.h"
#include "sso/samlToken.h"
#include "testing/sso/assertionFactory.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace SarnMirel::Authn {
namespace {

using namespace Bridge;
using Corvane::Service::Logger;
using Mirel::Data::DataValue;
using testing::HasSubstr;

// "anonymous", the error's name, or the structure's name and its texts.
std::string Ask(Mirel::Authn::AuthnHandler& handler, const Entries& context) {
  Mirel::Data::DataValuePtr answer;
  handler.AsyncAuthenticate(Activation(context), [&](const auto& value) { answer = value; });
  const auto* compound = dynamic_cast<const Mirel::Data::CompoundValue*>(answer.get());
  if (!compound) return "anonymous";
  auto text = compound->name();
  for (const auto& [name, field] : compound->fields()) {
    if (const auto* string = dynamic_cast<const Mirel::Data::StringValue*>(field.get())) {
      text += ' ' + name + '=' + string->value();
    }
  }
  return text;
}

TEST(SessionHandlerTest, KnowsLiveSessionsOfTheTable) {
  const auto mapping = std::make_shared<SessionMapping>(10);
  const auto logger = Logger::Create({.level = 6});
  SessionHandler handler(mapping, logger, [](auto* session, const auto& authData) {
    authData->SetField("same", DataValue::Create(session->GetId()));
  });
  const auto session = CreateSessionFromAuthData(Login("alice"), 60'000'000, nullptr);
  const auto& id = session->GetId();
  mapping->Register("api", id);
  EXPECT_EQ(Ask(handler, InSession("api")), kRefused) << "no manager knows the session";
  Manager().Add(session);

  Logger::sDefaultLogger->SetLevel(6);
  const auto log = CaptureLog([&] {
    EXPECT_EQ(Ask(handler, InSession("api")),
              "CorvaneSession username=alice corvaneSessionId=" + id + " same=" + id);
  });
  EXPECT_THAT(log, HasSubstr("ExtractSessionInfo corvaneSessionId: " + id + "\n"));
  EXPECT_THAT(log, HasSubstr("AsyncAuthenticate found sesson for username: alice\n"));

  const std::string nul(1, '\0');
  for (const auto& guess : {std::string(), id, "api" + nul, std::string(1'000'000, 'a')}) {
    const auto refusal = CaptureLog([&] { EXPECT_EQ(Ask(handler, InSession(guess)), kRefused); });
    EXPECT_LT(refusal.size(), 200U) << "a client's text is in the log";
  }
  Logger::sDefaultLogger->SetLevel(3);
  EXPECT_EQ(Ask(handler, {{"schemeId", InSession("")["schemeId"]}}), kRefused);
  EXPECT_EQ(Ask(handler, {{"sessionId", "api"}}), "anonymous");
  session->SetAuthData(nullptr);
  EXPECT_EQ(Ask(handler, InSession("api")), kRefused);
  Manager().Remove(id);
}

// Whoever is refused and comes back all the same would hold a place of the table for ever.
TEST(SessionHandlerTest, OnlyCallsThatAreLetInKeepTheSession) {
  const auto mapping = std::make_shared<SessionMapping>(10);
  SessionHandler handler(mapping, Logger::Create({.level = 3}), nullptr);
  const auto inSession = [&](const std::string& apiSessionId) {
    const auto session = CreateSessionFromAuthData(Login("alice"), 3 * kMinute, nullptr);
    mapping->Register(apiSessionId, session->GetId());
    Manager().Add(session);
    return session;
  };
  const auto live = inSession("live");
  const auto dead = inSession("dead");
  dead->SetAuthData(nullptr);
  PassTime(2 * kMinute);
  EXPECT_THAT(Ask(handler, InSession("live")), HasSubstr("alice"));
  EXPECT_EQ(Ask(handler, InSession("dead")), kRefused);
  PassTime(2 * kMinute);
  EXPECT_TRUE(dead->HasEnded());
  EXPECT_FALSE(live->HasEnded());
  live->End();
}

TEST(UserPassHandlerTest, TakesWhomTheHostTakesAndTheServiceKeeps) {
  Corvane::Ref<Corvane::System::AuthTokenHelper> login;
  bool keeps = true;
  UserPassHandler handler([&](const auto&, const auto&) { return login; }, Logger::Create({}),
                          [&](auto* helper, const auto& authData) {
                            authData->SetField("login", DataValue::Create(helper->GetUserName()));
                            return keeps;
                          });
  const Entries alice = {{"schemeId", Mirel::Core::Security::kUserPassScheme},
                         {Mirel::Core::Security::kUserNameKey, "alice"},
                         {Mirel::Core::Security::kPasswordKey, "secret"}};
  EXPECT_EQ(Ask(handler, InSession("api")), "anonymous");
  EXPECT_EQ(Ask(handler, alice), kRefused) << "the host knows no such login";
  login = Corvane::MakeRef<Corvane::System::AuthTokenHelper>("alice@host");
  EXPECT_EQ(Ask(handler, alice), "CorvaneUserPass username=alice login=alice@host");
  keeps = false;
  EXPECT_EQ(Ask(handler, alice), kRefused);
  UserPassHandler plain([&](const auto&, const auto&) { return login; }, Logger::Create({}), nullptr);
  EXPECT_EQ(Ask(plain, alice), "CorvaneUserPass username=alice");
}

class SamlHokTest : public testing::Test {
 protected:
  static const AssertionFactory::Identity& Issuer(int index) {
    static const AssertionFactory::Identity issuers[] = {AssertionFactory::MakeIdentity(),
                                                         AssertionFactory::MakeIdentity()};
    return issuers[index];
  }

  // With the identifier "_7".
  static std::string Token(int issuer, const std::string& user = "admin@example.local") {
    AssertionFactory::AssertionSpec spec;
    spec.id = "_7";
    spec.user = user;
    return AssertionFactory::MakeToken(Issuer(issuer), spec);
  }

  static Entries Context(const std::string& token) {
    return {{"schemeId", "com.tessaly.mirel.std.security.saml_hok_token"}, {"samlHokToken", token}};
  }

  std::string Ask(const std::string& token) { return Authn::Ask(handler, Context(token)); }

  bool refreshWorks = true;
  bool accepts = true;
  int refreshed = 0;
  int known = 0;
  std::function<void()> fail;
  SamlHokHandler handler{[this](const auto&) {
                           if (fail) fail();
                           return Issuer(known).key;
                         },
                         Logger::Create({.level = 6}),
                         [this](const SsoClient::SamlToken& token, const auto& authData) {
                           authData->SetField("id", DataValue::Create(token.GetId()));
                           return accepts;
                         },
                         [this] {
                           ++refreshed;
                           if (refreshWorks) known = 1;
                           return refreshWorks;
                         }};
};

TEST_F(SamlHokTest, TakesATokenOfAKnownKey) {
  const auto token = Token(0, "eve@b@example.local");
  EXPECT_THAT(
      CaptureLog([&] { EXPECT_EQ(Ask(token), "SamlToken username=example.local\\eve@b id=_7"); }),
      HasSubstr("AsyncAuthenticate got SAML token for principal: {Name: eve@b; Domain:example.local}\n"));
  accepts = false;
  EXPECT_EQ(Ask(token), kRefused);
  EXPECT_EQ(refreshed, 0);
  EXPECT_EQ(UserName({"local", ""}), "local");
}

TEST_F(SamlHokTest, NewKeysGiveASecondChance) {
  const auto token = Token(1);
  const auto good = "SamlToken username=example.local\\admin id=_7";
  refreshWorks = false;
  EXPECT_THAT(CaptureLog([&] { EXPECT_EQ(Ask(token), kRefused); }),
              HasSubstr("warning Key resolver refresh failed.\n"));
  refreshWorks = true;
  EXPECT_EQ(CaptureLog([&] { EXPECT_EQ(Ask(token), good); }).find("warning"), std::string::npos);
  EXPECT_EQ(Ask(token), good);
  EXPECT_EQ(refreshed, 2) << "a good token needs no new keys";
}

TEST_F(SamlHokTest, RefusesWhatStaysBad) {
  const auto token = Token(1);
  auto forged = token;
  forged.replace(forged.find("admin@"), 5, "mallo");
  const std::string nul(1, '\0');
  int asked = 0;
  for (const auto& bad : {std::string(), nul, forged, token + nul, std::string(1'000'000, '<'),
                          AssertionFactory::BuildAssertion()}) {
    EXPECT_EQ(CaptureLog([&] { EXPECT_EQ(Ask(bad), kRefused); }), "");
    EXPECT_EQ(refreshed, ++asked);
  }
  EXPECT_EQ(Authn::Ask(handler, {{"schemeId", Context("")["schemeId"]}}), "anonymous");
  EXPECT_EQ(Authn::Ask(handler, {{"samlHokToken", token}}), "anonymous");
  fail = [] { throw Corvane::Exception("no key"); };
  EXPECT_EQ(Ask(token), kRefused);
  EXPECT_EQ(refreshed, asked + 1);
  fail = [] { throw std::runtime_error("not of the base library"); };
  EXPECT_THROW(Ask(token), std::runtime_error);
  EXPECT_EQ(refreshed, asked + 1);
}

}  // namespace
}  // namespace SarnMirel::Authn

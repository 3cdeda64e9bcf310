#include "lib/sarnMirel/sessionFunctions.h"

#include <gtest/gtest.h>

#include "framework/json/valueWriter.h"
#include "lib/sarnMirel/refValue.h"
#include "platform/corvane/authenticate.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace SarnMirel {
namespace {

using namespace Bridge;
using namespace Mirel::Data;
using Corvane::Session;

constexpr std::int64_t kMinute = 60'000'000;

ActivationPtr WithField(const char* name, DataValuePtr value) {
  const auto authData = StructValue::GetInstance("");
  authData->SetField(name, std::move(value));
  return Activation({}, authData);
}

TEST(SessionFromActivation, TakesTheReferenceOrTheIdentifier) {
  SessionRef session;
  Corvane::CreateSession(kMinute, session);
  const auto reference = std::make_shared<const RefValue<Session>>(session);
  const auto id = DataValue::Create(session->GetId());
  EXPECT_EQ(SessionFromActivation(WithField("sessionRef", reference)), session);
  EXPECT_FALSE(SessionFromActivation(WithField("corvaneSessionId", id))) << "no manager knows it yet";
  Manager().Add(session);
  EXPECT_EQ(SessionFromActivation(WithField("corvaneSessionId", id)), session);

  const DataValuePtr noSession[] = {nullptr, DataValue::Create("x"), ListValue::GetInstance(),
                                    std::make_shared<ErrorValue>("e")};
  for (const auto& authData : noSession) EXPECT_FALSE(SessionFromActivation(Activation({}, authData)));
  EXPECT_FALSE(SessionFromActivation(WithField("corvaneSessionId", std::make_shared<OptionalValue>(id))));
  EXPECT_FALSE(SessionFromActivation(WithField("sessionRef", id)));
  EXPECT_FALSE(SessionFromActivation(WithField("sessionRef", std::make_shared<RefValue<Session>>(nullptr))));
  Manager().Remove(session->GetId());
}

TEST(SessionFromAuthData, NeedsANameAndALogin) {
  EXPECT_FALSE(CreateSessionFromAuthData(nullptr, kMinute, nullptr));
  const auto changed = [](const char* field, DataValuePtr value) {
    auto login = Login("alice");
    login->SetField(field, std::move(value));
    return CreateSessionFromAuthData(login, kMinute, nullptr);
  };
  EXPECT_TRUE(changed("other", nullptr));
  EXPECT_FALSE(changed("username", DataValue::Create(true)));
  EXPECT_FALSE(changed("authTokenHelper", DataValue::Create("alice")));
  EXPECT_FALSE(
      changed("authTokenHelper", std::make_shared<RefValue<Corvane::System::AuthTokenHelper>>(nullptr)));
  const auto nameless = StructValue::GetInstance("");
  nameless->SetField("authTokenHelper", Login("alice")->GetField("authTokenHelper"));
  EXPECT_FALSE(CreateSessionFromAuthData(nameless, kMinute, nullptr));

  Corvane::Ref<Corvane::System::AuthTokenHelper> asked;
  const auto login = Login("alice");
  const auto session = CreateSessionFromAuthData(login, kMinute, [&](const auto& helper) {
    asked = helper;
    return nullptr;
  });
  EXPECT_EQ(session->GetAuthData()->GetUsername(), "alice");
  EXPECT_EQ(asked, RefField<Corvane::System::AuthTokenHelper>(*login, "authTokenHelper"));
  SessionRef found;
  EXPECT_FALSE(Manager().Find(session->GetId(), found));
}

TEST(SessionFunctions, FindBeforeTheyMake) {
  const auto login = Login("alice");
  const auto attached = AttachSessionToAuthData(login, kMinute, nullptr);
  const auto* id = dynamic_cast<const StringValue*>(login->GetField("corvaneSessionId").get());
  EXPECT_EQ(id->value(), attached->GetId());
  EXPECT_EQ(FindOrCreateSession(Activation({}, login), kMinute, nullptr), attached);
  EXPECT_EQ(EnsureSession(Activation({}, login), kMinute, nullptr), attached);
  EXPECT_FALSE(FindOrCreateSession(Activation({}, DataValue::Create("alice")), kMinute, nullptr));
  EXPECT_FALSE(EnsureSession(Activation({}), kMinute, nullptr)->GetAuthData());
  EXPECT_EQ(EnsureEphemeralSession(Activation({}, Login("bob")), nullptr)->GetAuthData()->GetUsername(),
            "bob");
  EXPECT_FALSE(AttachEphemeralSession(StructValue::GetInstance(""), nullptr));
  EXPECT_EQ(EphemeralSessionIdleTimeout(), kEphemeralTimeout);
}

// The structure holds the session, whose authentication data holds the structure: not for ever.
TEST(SessionFunctions, AttachedSessionGoesWithItsCall) {
  class Watch final : public Corvane::SessionObject {
   public:
    explicit Watch(bool* gone) : gone_(gone) {}
    ~Watch() override { *gone_ = true; }
    void SessionEnded() override {}

   private:
    bool* gone_;
  };
  bool gone = false;
  AttachEphemeralSession(Login("alice"), nullptr)->AttachObject("watch", Corvane::MakeRef<Watch>(&gone));
  EXPECT_TRUE(gone);
}

TEST(RefValue, NeverLeavesTheProcess) {
  const auto login = Login("alice");
  AttachSessionToAuthData(login, kMinute, nullptr);
  login->SetField("corvaneSessionId", DataValue::Create("id"));
  Mirel::ORange typed;
  Mirel::ORange direct;
  Mirel::Protocol::Json::WriteTyped(*login, typed);
  Mirel::Protocol::Json::WriteDirect(*login, direct);
  const std::string fields =
      R"("username":"alice","authTokenHelper":null,"corvaneSessionId":"id","sessionRef":null)";
  EXPECT_EQ(typed.ToString(), R"({"structure":"CorvaneUserPass","fields":{)" + fields + "}}");
  EXPECT_EQ(direct.ToString(), '{' + fields + '}');
  const RefValue<Session> value(nullptr);
  EXPECT_EQ(value.Copy(), VoidValue::GetInstance());
  value.Visit([](const auto& seen) { EXPECT_EQ(&seen, VoidValue::GetInstance().get()); });
}

}  // namespace
}  // namespace SarnMirel

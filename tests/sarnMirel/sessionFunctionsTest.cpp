#include "lib/sarnMirel/sessionFunctions.h"

#include "framework/json/valueWriter.h"
#include "lib/sarnMirel/refValue.h"
#include "platform/corvane/authenticate.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace SarnMirel {
namespace {

using namespace Bridge;
using namespace Mirel::Data;
using Corvane::Session;
using Corvane::System::AuthTokenHelper;

ActivationPtr WithField(const char* name, DataValuePtr value) {
  const auto authData = StructValue::GetInstance("");
  authData->SetField(name, std::move(value));
  return Activation({}, authData);
}

TEST(SessionFunctionsTest, SessionOfAnActivation) {
  SessionRef session;
  Corvane::CreateSession(kMinute, session);
  const auto id = DataValue::Create(session->GetId());
  EXPECT_EQ(SessionFromActivation(WithField("sessionRef", std::make_shared<RefValue<Session>>(session))),
            session);
  EXPECT_FALSE(SessionFromActivation(WithField("corvaneSessionId", id))) << "no manager knows it yet";
  Manager().Add(session);
  EXPECT_EQ(SessionFromActivation(WithField("corvaneSessionId", id)), session);

  const DataValuePtr noStructure[] = {nullptr, id, ListValue::GetInstance(),
                                      std::make_shared<ErrorValue>("e")};
  for (const auto& authData : noStructure) EXPECT_FALSE(SessionFromActivation(Activation({}, authData)));
  EXPECT_FALSE(SessionFromActivation(WithField("corvaneSessionId", std::make_shared<OptionalValue>(id))));
  EXPECT_FALSE(SessionFromActivation(WithField("sessionRef", std::make_shared<RefValue<Session>>(nullptr))));
  Manager().Remove(session->GetId());
}

TEST(SessionFunctionsTest, SessionOfALogin) {
  EXPECT_FALSE(CreateSessionFromAuthData(nullptr, kMinute, nullptr));
  const std::pair<const char*, DataValuePtr> faults[] = {
      {"username", nullptr},
      {"username", DataValue::Create(true)},
      {"authTokenHelper", nullptr},
      {"authTokenHelper", DataValue::Create("alice")},
      {"authTokenHelper", std::make_shared<RefValue<AuthTokenHelper>>(nullptr)}};
  for (const auto& [field, value] : faults) {
    const auto login = Login("alice");
    login->SetField(field, value);
    EXPECT_FALSE(CreateSessionFromAuthData(login, kMinute, nullptr)) << field;
  }
  const auto session = CreateSessionFromAuthData(Login("alice"), kMinute, nullptr);
  EXPECT_EQ(session->GetAuthData()->GetUsername(), "alice");
  Corvane::Ref<Corvane::Authorize::AuthorizeManager> authorize;
  Corvane::Authorize::AuthorizeManager::GetInstance(authorize);
  authorize->Grant("alice", "vm-1", "read");
  EXPECT_TRUE(authorize->HasPrivilege(session.get(), "vm-1", "read"));
  authorize->Revoke("alice", "vm-1", "read");
}

TEST(SessionFunctionsTest, FindBeforeTheyMake) {
  const auto login = Login("alice");
  const auto attached = AttachSessionToAuthData(login, kMinute, nullptr);
  EXPECT_EQ(FindOrCreateSession(Activation({}, login), 2 * kMinute, nullptr), attached);
  PassTime(kMinute);
  EXPECT_FALSE(attached->HasEnded());
  EXPECT_EQ(EnsureSession(Activation({}, login), kMinute, nullptr), attached);
  EXPECT_FALSE(FindOrCreateSession(Activation({}, DataValue::Create("alice")), kMinute, nullptr));
  EXPECT_FALSE(EnsureSession(Activation({}), kMinute, nullptr)->GetAuthData());
  EXPECT_EQ(EnsureEphemeralSession(Activation({}, Login("bob")), nullptr)->GetAuthData()->GetUsername(),
            "bob");
  EXPECT_FALSE(AttachEphemeralSession(StructValue::GetInstance(""), nullptr));
  EXPECT_EQ(EphemeralSessionIdleTimeout(), kEphemeralTimeout);
}

// The structure holds the session, whose authentication data knows the structure: not for ever.
TEST(SessionFunctionsTest, AttachedSessionGoesWithItsCall) {
  struct Watch final : Corvane::SessionObject {
    explicit Watch(bool* flag) : gone(flag) {}
    ~Watch() override { *gone = true; }
    void SessionEnded() override {}
    bool* gone;
  };
  bool gone = false;
  AttachEphemeralSession(Login("alice"), nullptr)->AttachObject("watch", Corvane::MakeRef<Watch>(&gone));
  EXPECT_TRUE(gone);
}

TEST(RefValueTest, NeverLeavesTheProcess) {
  Mirel::ORange typed;
  Mirel::ORange direct;
  Mirel::Protocol::Json::WriteTyped(*Login("alice"), typed);
  Mirel::Protocol::Json::WriteDirect(*Login("alice"), direct);
  EXPECT_EQ(direct.ToString(), R"({"username":"alice","authTokenHelper":null})");
  EXPECT_EQ(typed.ToString(), R"({"structure":"CorvaneUserPass","fields":)" + direct.ToString() + "}");
}

}  // namespace
}  // namespace SarnMirel

#include <gmock/gmock.h>

#include "lib/sarnMirel/sessionMapping.h"
#include "platform/corvane/log.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace SarnMirel {
namespace {

using namespace Bridge;
using testing::HasSubstr;
using testing::Not;

// What the operations answer: "" or false when refused.
class SessionServiceTest : public testing::Test {
 protected:
  std::string Create(const ActivationPtr& activation) {
    const auto secret = Call(service, &SessionServiceImpl::Create, activation);
    return secret ? secret->text() : std::string();
  }
  std::string Create(const std::string& user) { return Create(Activation({}, Login(user))); }
  bool Delete(const Entries& context) {
    return Call(service, &SessionServiceImpl::Delete, Activation(context)).has_value();
  }
  // The user, or "refused".
  std::string Get(const Entries& context) {
    const auto info = Call(service, &SessionServiceImpl::Get, Activation(context));
    return info ? (*info)->user : "refused";
  }

  static Entries WithTicket(const std::string& ticket) {
    return {{"schemeId", "sarn.corvane.sessionTicket"}, {"sessionTicket", ticket}};
  }

  SessionRef Behind(const std::string& apiSessionId) {
    SessionRef session;
    Manager().Find(mapping->Find(apiSessionId), session);
    return session;
  }

  std::shared_ptr<SessionMapping> mapping = std::make_shared<SessionMapping>(3);
  std::vector<std::string> created;
  SessionServiceImpl service{
      mapping, Corvane::Service::Logger::Create({.level = 6}),
      [this](const auto&, Corvane::Session* session) { created.push_back(session->GetId()); }, nullptr};
};

TEST_F(SessionServiceTest, LivesFromCreateToDelete) {
  std::string id;
  const auto log = CaptureLog([&] { id = Create(Activation({{"schemeId", "user\npass"}}, Login("alice"))); });
  EXPECT_THAT(id, testing::MatchesRegex("[0-9a-f]{40}"));
  const auto hostId = mapping->Find(id);
  EXPECT_EQ(created.front(), hostId);
  EXPECT_THAT(log, HasSubstr("Session::Create { schemeId : user\\npass }\n"));
  EXPECT_THAT(log, HasSubstr("Create Mirel session for Sarn Session id: " + hostId + "\n"));
  EXPECT_THAT(log, Not(HasSubstr(id)));
  EXPECT_EQ(Get(InSession(id)), "alice");
  Behind(id)->SetAuthData(nullptr);
  EXPECT_EQ(Get(InSession(id)), "");
  const auto scheme = InSession(id)["schemeId"];
  EXPECT_THAT(CaptureLog([&] { EXPECT_TRUE(Delete(InSession(id))); }),
              HasSubstr("Session::Delete { schemeId : " + scheme + " }; session ID: " + hostId + "\n"));
  EXPECT_EQ(EntriesOf(*mapping), 0U) << "the entry leaves with the session";
  EXPECT_FALSE(Delete(InSession(id)));
  EXPECT_EQ(Get(InSession(id)), "refused");
}

// By idleness after half an hour, or with its login, of which the service knows how long it lasts. A clone
// has no login.
TEST_F(SessionServiceTest, TimesEndSessions) {
  std::string asked;
  SessionServiceImpl expiring(
      mapping, Corvane::Service::Logger::Create({.level = 3}), [&](const auto& login) {
        asked = login->GetUserName();
        return
            [](auto*, const auto& now) { return Corvane::System::DateTime(now.GetUtcTime() + 20 * kMinute); };
      });
  const auto plain = Create("alice");
  const auto shortened =
      Call(expiring, &SessionServiceImpl::Create, Activation({}, Login("bob"))).value().text();
  EXPECT_EQ(asked, "bob");
  const auto clone = Create(Activation(WithTicket(Manager().IssueCloneTicket(mapping->Find(shortened)))));
  const auto left = [&] {
    std::string users;
    for (const auto& id : {plain, shortened, clone}) users += Get(InSession(id)) + ' ';
    return users;
  };
  PassTime(20 * kMinute - 1);
  EXPECT_EQ(left(), "alice bob bob ");
  PassTime(1);
  EXPECT_EQ(left(), "alice refused bob ");
  PassTime(10 * kMinute - 1);
  EXPECT_EQ(left(), "alice refused bob ");
  PassTime(1);
  EXPECT_EQ(left(), "refused refused refused ");
}

// Whatever the context says, it opens no session, and its entries stay out of the log.
TEST_F(SessionServiceTest, HostileContexts) {
  const auto id = Create("alice");
  const std::string nul(1, '\0');
  const std::string huge(1'000'000, 'a');
  for (const auto& guess : {std::string(), nul, id + nul, id.substr(1), huge, mapping->Find(id)}) {
    const auto log = CaptureLog([&] { EXPECT_FALSE(Delete(InSession(guess))); });
    EXPECT_THAT(log, testing::EndsWith("session_id }; session ID: \n"));
    EXPECT_EQ(Get(InSession(guess)), "refused");
  }
  for (const auto& scheme : {std::string(), huge, InSession(id)["schemeId"] + nul}) {
    const Entries other{{"schemeId", scheme}, {"sessionId", id}};
    EXPECT_EQ(Get(other), "refused");
    const auto log = CaptureLog([&] {
      EXPECT_FALSE(Delete(other));
      EXPECT_EQ(Create(Activation(other)), "");
    });
    EXPECT_THAT(log, HasSubstr("Session::Delete Invalid context\n"));
    EXPECT_THAT(log, HasSubstr("warning Unable to find/create a valid SarnMirel session.\n"));
    EXPECT_LT(log.size(), 1000U);
  }
  EXPECT_THAT(CaptureLog([&] { Create(Activation({})); }), HasSubstr("Session::Create \n"));
  EXPECT_EQ(Get(InSession(id)), "alice");
}

TEST_F(SessionServiceTest, FullTableRefusesAndTakesTheLoginAway) {
  const auto id = Create("alice");
  Create("bob");
  Create("carol");
  const auto login = Login("dave");
  const auto found = AttachSessionToAuthData(login, 1'000'000, nullptr);
  EXPECT_THAT(CaptureLog([&] { EXPECT_EQ(Create(Activation({}, login)), ""); }),
              HasSubstr("warning Unable to register session. SarnMirel session limit reached.\n"));
  EXPECT_FALSE(found->GetAuthData());
  EXPECT_EQ(created.size(), 3U);
  EXPECT_TRUE(Delete(InSession(id)));
  EXPECT_NE(Create("dave"), "");
}

// Both identifiers of one session end with it, or a client could fill the table with one session.
TEST_F(SessionServiceTest, SessionThatIsCreatedTwice) {
  const auto first = Create("alice");
  const auto authData = Mirel::Data::StructValue::GetInstance("CorvaneSession");
  authData->SetField("corvaneSessionId", Mirel::Data::DataValue::Create(mapping->Find(first)));
  const auto second = Create(Activation({}, authData));
  EXPECT_EQ(Behind(second), Behind(first));
  EXPECT_EQ(Get(InSession(first)), "alice");
  EXPECT_TRUE(Delete(InSession(second)));
  EXPECT_EQ(EntriesOf(*mapping), 0U);
}

// No identifier goes out for a session that is gone.
TEST_F(SessionServiceTest, SessionThatEndsMeanwhile) {
  SessionServiceImpl hasty(
      mapping, Corvane::Service::Logger::Create({.level = 3}),
      [](const auto&, Corvane::Session* session) { session->End(); }, nullptr);
  EXPECT_FALSE(Call(hasty, &SessionServiceImpl::Create, Activation({}, Login("alice"))));
  EXPECT_EQ(EntriesOf(*mapping), 0U);
}

TEST_F(SessionServiceTest, TicketClonesASession) {
  const auto original = Behind(Create("alice"));
  const auto clone = Create(Activation(WithTicket(Manager().IssueCloneTicket(original->GetId()))));
  EXPECT_EQ(Get(InSession(clone)), "alice");
  EXPECT_NE(Behind(clone), original);

  const auto log = CaptureLog([&] { EXPECT_EQ(Create(Activation(WithTicket("t"))), ""); });
  EXPECT_THAT(log, HasSubstr("warning Unable to resolve SessionTicket to valid Corvane session.\n"));
  EXPECT_NE(Create(Activation(WithTicket(""), Login("bob"))), "") << "the login serves instead";
}

}  // namespace
}  // namespace SarnMirel

#include "lib/sarnMirel/sessionServiceImpl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/sarnMirel/sessionMapping.h"
#include "platform/corvane/log.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace SarnMirel {
namespace {

using namespace Bridge;
using Corvane::Service::Logger;
using testing::HasSubstr;
using testing::Not;

constexpr char kRefused[] = "com.tessaly.mirel.std.errors.unauthenticated";

class SessionService : public testing::Test {
 protected:
  // The value's text as `show` gives it, or the error's name.
  template <typename Result, typename Operation, typename Show>
  std::string Call(Operation operation, const ActivationPtr& activation, Show show) {
    std::string answer = "no answer";
    typename Result::ResultCb callbacks;
    callbacks.first = [&](const auto& value, const auto& error, const auto&) {
      answer = error ? error->name() : show(*value);
    };
    (service.*operation)(activation, Result(std::move(callbacks)));
    return answer;
  }

  std::string Create(const ActivationPtr& activation) {
    return Call<SessionServiceImpl::CreateResult>(&SessionServiceImpl::Create, activation,
                                                  [](const auto& secret) { return secret.text(); });
  }
  std::string Create(const std::string& user) { return Create(Activation({}, Login(user))); }
  std::string Delete(const Entries& context) {
    return Call<SessionServiceImpl::DeleteResult>(&SessionServiceImpl::Delete, Activation(context),
                                                  [](const auto&) { return std::string("deleted"); });
  }
  std::string Get(const Entries& context) {
    return Call<SessionServiceImpl::GetResult>(&SessionServiceImpl::Get, Activation(context),
                                               [this](const auto& value) {
                                                 info = *value;
                                                 return "user " + value->user;
                                               });
  }

  SessionRef Behind(const std::string& apiSessionId) {
    SessionRef session;
    Manager().Find(mapping->Find(apiSessionId), session);
    return session;
  }

  std::shared_ptr<SessionMapping> mapping = std::make_shared<SessionMapping>(3);
  Corvane::Ref<Logger> logger = Logger::Create({.level = 6});
  std::vector<std::string> created;
  SessionServiceImpl service{
      mapping, logger,
      [this](const auto&, Corvane::Session* session) { created.push_back(session->GetId()); }, nullptr};
  Com::Tessaly::Ombra::SessionSvc::Info info;
};

TEST_F(SessionService, LivesFromCreateToDelete) {
  std::string id;
  const auto log = CaptureLog([&] { id = Create(Activation({{"schemeId", "user\npass"}}, Login("alice"))); });
  EXPECT_EQ(id.size(), 40U);
  EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(id, Create("alice"));
  const auto hostId = mapping->Find(id);
  EXPECT_EQ(created.front(), hostId);
  EXPECT_THAT(log, HasSubstr("Session::Create { schemeId : user\\npass }\n"));
  EXPECT_THAT(log, HasSubstr("Create Mirel session for Sarn Session id: " + hostId + "\n"));
  EXPECT_THAT(log, Not(HasSubstr(id)));

  EXPECT_EQ(Get(InSession(id)), "user alice");
  EXPECT_EQ(info.createdTime.ToString(), Mirel::DateTime::Create(Behind(id)->GetCreationTime()).ToString());
  EXPECT_LE(info.createdTime.ToString(), info.lastAccessedTime.ToString());
  Behind(id)->SetAuthData(nullptr);
  EXPECT_EQ(Get(InSession(id)), "user ");

  const auto scheme = InSession(id)["schemeId"];
  EXPECT_THAT(CaptureLog([&] { EXPECT_EQ(Delete(InSession(id)), "deleted"); }),
              HasSubstr("Session::Delete { schemeId : " + scheme + " }; session ID: " + hostId + "\n"));
  EXPECT_EQ(mapping->map.size(), 1U) << "the entry leaves with the session";
  EXPECT_EQ(Delete(InSession(id)), kRefused);
  EXPECT_EQ(Get(InSession(id)), kRefused);
}

// Whatever the context says, it opens no session, and its entries stay out of the log.
TEST_F(SessionService, HostileContexts) {
  const auto id = Create("alice");
  const std::string nul(1, '\0');
  for (const auto& guess :
       {std::string(), nul, id + nul, id.substr(1), std::string(1'000'000, 'a'), mapping->Find(id)}) {
    const auto log = CaptureLog([&] {
      EXPECT_EQ(Delete(InSession(guess)), kRefused);
      EXPECT_EQ(Get(InSession(guess)), kRefused);
    });
    EXPECT_THAT(log, testing::EndsWith("session ID: \n"));
    EXPECT_LT(log.size(), 300U);
  }
  auto context = InSession(id);
  context.erase("sessionId");
  EXPECT_EQ(Get(context), kRefused);
  for (const auto& scheme : {std::string(), std::string(1'000'000, 's'), InSession(id)["schemeId"] + nul}) {
    const Entries other{{"schemeId", scheme}, {"sessionId", id}};
    EXPECT_THAT(CaptureLog([&] { EXPECT_EQ(Delete(other), kRefused); }),
                HasSubstr("Session::Delete Invalid context\n"));
    EXPECT_EQ(Get(other), kRefused);
    const auto log = CaptureLog([&] { EXPECT_EQ(Create(Activation(other)), kRefused); });
    EXPECT_THAT(log, HasSubstr("warning Unable to find/create a valid SarnMirel session.\n"));
    EXPECT_LT(log.size(), 1000U);
  }
  EXPECT_THAT(CaptureLog([&] { Create(Activation({})); }), HasSubstr("Session::Create \n"));
  EXPECT_EQ(Get(InSession(id)), "user alice");
}

TEST_F(SessionService, FullTableRefusesAndTakesTheLoginAway) {
  const auto id = Create("alice");
  Create("bob");
  Create("carol");
  const auto login = Login("dave");
  const auto found = AttachSessionToAuthData(login, 1'000'000, nullptr);
  EXPECT_THAT(CaptureLog([&] { EXPECT_EQ(Create(Activation({}, login)), kRefused); }),
              HasSubstr("warning Unable to register session. SarnMirel session limit reached.\n"));
  EXPECT_FALSE(found->GetAuthData());
  EXPECT_EQ(created.size(), 3U);
  EXPECT_EQ(Delete(InSession(id)), "deleted");
  EXPECT_EQ(Create("dave").size(), 40U);
}

// Both identifiers of one session end with it, or a client could fill the table with one session.
TEST_F(SessionService, SessionThatIsCreatedTwice) {
  const auto first = Create("alice");
  const auto session = Behind(first);
  const auto authData = Mirel::Data::StructValue::GetInstance("CorvaneSession");
  authData->SetField("corvaneSessionId", Mirel::Data::DataValue::Create(session->GetId()));
  const auto second = Create(Activation({}, authData));
  EXPECT_EQ(Behind(second), session);
  EXPECT_EQ(Get(InSession(first)), "user alice");
  EXPECT_EQ(Delete(InSession(second)), "deleted");
  EXPECT_TRUE(mapping->map.empty());
}

TEST_F(SessionService, TicketClonesASession) {
  const auto original = Behind(Create("alice"));
  const auto context = [](const std::string& ticket) {
    return Entries{{"schemeId", "sarn.corvane.sessionTicket"}, {"sessionTicket", ticket}};
  };
  const auto clone = Create(Activation(context(Manager().IssueCloneTicket(original->GetId()))));
  EXPECT_EQ(Get(InSession(clone)), "user alice");
  EXPECT_NE(Behind(clone), original);

  const auto log = CaptureLog([&] { EXPECT_EQ(Create(Activation(context("t"))), kRefused); });
  EXPECT_THAT(log, HasSubstr("warning Unable to resolve SessionTicket to valid Corvane session.\n"));
  EXPECT_THAT(log, HasSubstr("Unable to find/create a valid SarnMirel session.\n"));
  EXPECT_EQ(Create(Activation(context(""), Login("bob"))).size(), 40U) << "the login serves instead";
  auto otherScheme = context("t");
  otherScheme["schemeId"] = "";
  EXPECT_THAT(CaptureLog([&] { Create(Activation(otherScheme)); }), Not(HasSubstr("SessionTicket")));
}

}  // namespace
}  // namespace SarnMirel

#include <gtest/gtest.h>

#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "lib/sarnMirel/corvaneWrapLogger.h"
#include "lib/sarnMirel/opIdExtractFilter.h"
#include "lib/sarnMirel/refValue.h"
#include "lib/sarnMirel/sessionLeaseFilter.h"
#include "platform/corvane/logContext.h"
#include "testing/sessionSupport.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace SarnMirel::Filter {
namespace {

using namespace Bridge;
using Mirel::Core::AsyncApiResultCb;
using Testing::ManualTime;

const AsyncApiResultCb kNobody([](const auto&, const auto&, auto&&) {});

// The end of the chain: a call is what the test makes of it.
struct ScriptedProvider final : Mirel::Core::AsyncApiProvider {
  std::string ToString() const override { return ""; }
  void Invoke(const std::shared_ptr<const Mirel::Core::MethodIdentifier>&, const Mirel::Data::DataValuePtr&,
              const ActivationPtr&, const AsyncApiResultCb& result) override {
    script(result);
  }
  std::function<void(const AsyncApiResultCb&)> script;
};

class FilterTest : public testing::Test {
 protected:
  static void Call(Mirel::Core::AsyncApiProvider& filter, const ActivationPtr& activation,
                   const AsyncApiResultCb& result = kNobody) {
    static const Mirel::Core::MethodIdentifier method{"a.b", "c"};
    filter.Invoke(std::make_shared<const Mirel::Core::MethodIdentifier>(method), nullptr, activation, result);
  }

  // The texts of the log lines without what is in front of them.
  static std::string LogTexts(const std::function<void()>& function) {
    std::istringstream lines(CaptureLog(function));
    std::string texts;
    for (std::string line; std::getline(lines, line);) texts += line.substr(line.find(" debug ") + 7) + '\n';
    return texts;
  }

  Corvane::Ref<Corvane::Service::Logger> logger = Corvane::Service::Logger::Create({.level = 7});
  std::shared_ptr<CorvaneWrapLoggger> log = std::make_shared<CorvaneWrapLoggger>(logger);
  std::shared_ptr<ScriptedProvider> next = std::make_shared<ScriptedProvider>();
};

class LeaseFilterTest : public FilterTest {
 protected:
  ActivationPtr InTheSession() const {
    const auto authData = Mirel::Data::StructValue::GetInstance("");
    authData->SetField("sessionRef", std::make_shared<const RefValue<Corvane::Session>>(session));
    return Activation({}, authData);
  }

  // Takes them all, and so ends the session.
  int CountLeases() {
    int leases = 0;
    for (time.Pass(100); !session->HasEnded() && leases < 100; time.Pass(100), ++leases) {
      session->RemoveLease();
    }
    return leases;
  }

  ManualTime time;
  SessionRef session = time.MakeSession(100);
  std::vector<std::function<void()>> tasks;
  SessionLeaseFilter filter{[this](auto task) { tasks.push_back(std::move(task)); }, next, nullptr};
};

TEST_F(LeaseFilterTest, SessionLivesWhileTheCallRuns) {
  SessionLeaseFilter logging(nullptr, next, log);
  std::optional<AsyncApiResultCb> kept;
  next->script = [&](const auto& result) { kept = result; };
  const auto answer = Mirel::Core::MethodResult::GetInstance(nullptr);
  int continued = 0;
  const AsyncApiResultCb result([&](const auto& method, const auto& progress, auto&& continuation) {
    EXPECT_TRUE(method == answer && progress.max == 7);
    continuation(nullptr);
  });
  const auto texts = LogTexts([&] {
    Call(logging, InTheSession(), result);
    time.Pass(1000);
    EXPECT_FALSE(session->HasEnded());
    (*kept)(answer, {1, 7, 3}, [&](const auto&) { ++continued; });
  });
  EXPECT_EQ(continued, 1);
  EXPECT_EQ(CountLeases(), 0);
  EXPECT_EQ(texts, "Invoke: method: a.b.c\nInvoke: AddLease. sessionID : " + session->GetId() +
                       "\noperator(): RemoveLease. sessionID : " + session->GetId() + "\n");
}

TEST_F(LeaseFilterTest, EachEndOfACallGivesItsLeaseBackOnce) {
  // What the provider does: report, keep copies of the callback, drop them, throw. Each report counts, and
  // may take a lease that is another one's.
  const std::pair<std::string, int> calls[] = {{"", 1},  {"r", 1},  {"t", 1},   {"rt", 1}, {"kt", 0},
                                               {"d", 2}, {"kd", 1}, {"krd", 1}, {"rr", 2}};
  std::vector<AsyncApiResultCb> kept;
  int leases = 0;
  for (; leases < 20; ++leases) session->AddLease();
  for (const auto& [steps, givenBack] : calls) {
    next->script = [&, steps = steps](const AsyncApiResultCb& result) {
      for (const char step : steps) {
        if (step == 'r') result(nullptr, {}, nullptr);
        if (step == 'k') kept.assign(3, result);
        if (step == 'd') kept.clear();
        if (step == 't') throw std::runtime_error("thrown");
      }
    };
    try {
      Call(filter, InTheSession());
    } catch (const std::runtime_error&) {
    }
    leases += 1 - givenBack;
  }
  EXPECT_EQ(CountLeases(), leases);
}

TEST_F(LeaseFilterTest, EndedSessionIsAnsweredLater) {
  session->End();
  next->script = [](const auto&) { ADD_FAILURE() << "reached"; };
  std::string answer;
  Call(filter, InTheSession(), AsyncApiResultCb([&](const auto& result, const auto&, auto&& continuation) {
         answer += result->error->ToString();
         EXPECT_TRUE(result->terminal && !continuation);
       }));
  EXPECT_EQ(answer, "");
  tasks.at(0)();
  EXPECT_EQ(answer, "com.tessaly.mirel.std.errors.unauthenticated");
  SessionLeaseFilter withoutExecutor(nullptr, next, nullptr);
  EXPECT_THROW(Call(withoutExecutor, InTheSession()), std::bad_function_call);
}

TEST_F(LeaseFilterTest, CallsWithoutASessionPass) {
  SessionLeaseFilter logging(nullptr, next, log);
  int answers = 0;
  next->script = [](const auto& result) { result(nullptr, {}, nullptr); };
  const AsyncApiResultCb result([&](const auto&, const auto&, auto&&) { ++answers; });
  EXPECT_EQ(LogTexts([&] { Call(logging, Activation({}), result); }),
            "Invoke: method: a.b.c\nFailed to lookup session by activation\n");
  EXPECT_EQ(answers, 1);
}

// Calls come on one thread and are answered, or dropped, on another one.
TEST_F(LeaseFilterTest, LeasesCrossThreads) {
  std::mutex mutex;
  std::vector<std::thread> answers;
  next->script = [&](const AsyncApiResultCb& result) {
    const std::lock_guard lock(mutex);
    answers.emplace_back([result, report = answers.size() % 2 == 0] {
      if (report) result(nullptr, {}, nullptr);
    });
  };
  const auto callOften = [&] {
    for (int call = 0; call < 50; ++call) Call(filter, InTheSession());
  };
  std::thread other(callOften);
  callOften();
  other.join();
  for (auto& answer : answers) answer.join();
  EXPECT_EQ(CountLeases(), 0);
}

class OpIdFilterTest : public FilterTest {
 protected:
  // Gives the lines of the filter and of the provider after it.
  std::string Invoke(const std::string& clientOpId) {
    auto context = std::make_shared<Mirel::Core::ExecutionContext>();
    context->applicationContext["opId"] = clientOpId;
    next->script = [&](const auto&) { logger->Write(7, "provider"); };
    return LogTexts([&] { Call(filter, Mirel::Core::AsyncActivation::GetInstance(context)); });
  }

  OpIdExtractFilter filter{next, log};
};

TEST_F(OpIdFilterTest, IdentifierIsInTheContextOfTheCallAlone) {
  const Corvane::Service::LogContextOnStack outer(Corvane::Service::SetLogContext("opId", "outer"));
  for (const std::string client : {"", "client-"}) {
    const auto texts = Invoke(client == "" ? "" : "client");
    const auto id = texts.substr(texts.rfind('=') + 1, texts.size() - texts.rfind('=') - 2);
    EXPECT_EQ(texts, "Invoke: method: a.b.c opId: " + id + " opId=" + id + "\nprovider opId=" + id + "\n");
    EXPECT_EQ(id.size(), client == "" ? 16U : client.size() + 8);
    EXPECT_TRUE(id.starts_with(client) && id.find_first_not_of("0123456789abcdef", client.size()) == id.npos);
    EXPECT_EQ(Corvane::Service::GetLogContextText(), " opId=outer");
  }
  next->script = [](const auto&) { throw std::runtime_error("passes"); };
  OpIdExtractFilter silent(next, nullptr);
  EXPECT_THROW(Call(silent, Activation({})), std::runtime_error);
  EXPECT_EQ(Corvane::Service::GetLogContextText(), " opId=outer");
}

TEST_F(OpIdFilterTest, HostileIdentifiersForgeNothing) {
  const auto forged = Invoke("x\n2026-01-01T00:00:00 error forged\r\x1b[2J\xff");
  EXPECT_NE(forged.find("\nprovider opId=\"x\\n2026-01-01T00:00:00 error forged\\r\\x1b[2J\\xff-"),
            forged.npos);
  // An odd offset, so that the bound is inside a character.
  std::string large = "x";
  while (large.size() < 1000000) large += "\u00e9";
  const auto cut = Invoke(large);
  EXPECT_LT(cut.size(), 1000U);
  EXPECT_EQ(cut.find('\\'), cut.npos) << cut;
  EXPECT_LT(Invoke(std::string(1000000, '\x80')).size(), 4000U);
}

}  // namespace
}  // namespace SarnMirel::Filter

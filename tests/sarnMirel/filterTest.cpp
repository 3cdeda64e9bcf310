#include <gtest/gtest.h>

#include <algorithm>

#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "lib/sarnMirel/opIdExtractFilter.h"
#include "lib/sarnMirel/refValue.h"
#include "lib/sarnMirel/sessionLeaseFilter.h"
#include "platform/corvane/log.h"
#include "platform/corvane/logContext.h"
#include "tests/corvane/sessionSupport.h"
#include "tests/sarnMirel/bridgeEnvironment.h"
#include "tests/sarnMirel/filterChain.h"

namespace SarnMirel::Filter {
namespace {

using namespace Bridge;
using Mirel::Core::AsyncApiResultCb;
using Mirel::Core::MethodResult;

class LeaseFilterTest : public testing::Test {
 protected:
  ActivationPtr InTheSession() const {
    const auto authData = Mirel::Data::StructValue::GetInstance("");
    authData->SetField("sessionRef", std::make_shared<const RefValue<Corvane::Session>>(session));
    return Activation({}, authData);
  }

  // Takes them all, and so ends the session.
  int CountLeases() {
    int leases = 0;
    for (time.Pass(100); !session->HasEnded() && leases < 100; time.Pass(100)) {
      session->RemoveLease();
      ++leases;
    }
    return leases;
  }

  void Invoke(AsyncApiResultCb::Callable result) { Call(*filter, InTheSession(), std::move(result)); }

  ManualTime time;
  SessionRef session = time.MakeSession(100);
  std::shared_ptr<ScriptedProvider> next = std::make_shared<ScriptedProvider>();
  std::shared_ptr<TraceLog> log = std::make_shared<TraceLog>();
  std::vector<std::function<void()>> tasks;
  std::shared_ptr<SessionLeaseFilter> filter = std::make_shared<SessionLeaseFilter>(
      [this](std::function<void()> task) { tasks.push_back(std::move(task)); }, next, log);
};

TEST_F(LeaseFilterTest, SessionLivesWhileTheCallRuns) {
  std::optional<AsyncApiResultCb> kept;
  next->script = [&](const auto& result) { kept = result; };
  const auto answer = MethodResult::GetInstance(nullptr);
  int answers = 0;
  int continued = 0;
  Invoke([&](const auto& result, const auto& progress, auto&& continuation) {
    ++answers;
    EXPECT_EQ(result, answer);
    EXPECT_EQ(progress.max, 7);
    continuation(nullptr);
  });
  time.Pass(1000);
  EXPECT_FALSE(session->HasEnded());
  (*kept)(answer, {1, 7, 3}, [&](const auto&) { ++continued; });
  EXPECT_TRUE(answers == 1 && continued == 1);
  time.Pass(100);
  EXPECT_TRUE(session->HasEnded());
  EXPECT_EQ(log->text, "Invoke: method: a.b.c\nInvoke: AddLease. sessionID : " + session->GetId() +
                           "\noperator(): RemoveLease. sessionID : " + session->GetId() + "\n");
}

TEST_F(LeaseFilterTest, EachEndOfACallGivesItsLeaseBackOnce) {
  const auto report = [](const AsyncApiResultCb& result) {
    result(MethodResult::GetInstance(nullptr), {}, nullptr);
  };
  std::vector<AsyncApiResultCb> kept;
  const std::vector<std::pair<std::function<void(const AsyncApiResultCb&)>, int>> ends = {
      {report, 1},
      {[](const auto&) {}, 1},
      {[](const auto&) { throw std::runtime_error("at once"); }, 1},
      {[&](const auto& result) {
         kept.assign(3, result);
         throw std::runtime_error("with copies left");
       },
       0},
      {[&](const auto&) { kept.clear(); }, 2},
      {[&](const auto& result) {
         report(result);
         throw std::runtime_error("behind a report");
       },
       1},
      {[&](const auto& result) {
         kept.assign(3, result);
         report(kept.back());
         kept.clear();
       },
       1},
      // Each report counts, and takes a lease that is another one's.
      {[&](const auto& result) {
         report(result);
         report(result);
       },
       2},
  };
  int leases = 0;
  for (int i = 0; i < 20; ++i, ++leases) session->AddLease();
  for (const auto& [end, given] : ends) {
    next->script = end;
    leases += 1 - given;
    try {
      Invoke([](const auto&, const auto&, auto&&) {});
    } catch (const std::runtime_error&) {
    }
  }
  EXPECT_EQ(CountLeases(), leases);
}

TEST_F(LeaseFilterTest, EndedSessionIsAnsweredLater) {
  session->End();
  next->script = [](const auto&) { ADD_FAILURE() << "reached"; };
  std::string answer;
  Invoke([&](const auto& result, const auto& progress, auto&& continuation) {
    answer += result->error->ToString();
    EXPECT_TRUE(result->terminal && !continuation && progress.max == 1);
    const auto list =
        std::static_pointer_cast<const Mirel::Data::ListValue>(result->error->GetField("messages"));
    EXPECT_TRUE(list->elements().empty());
  });
  EXPECT_EQ(answer, "");
  ASSERT_EQ(tasks.size(), 1U);
  filter.reset();
  tasks.front()();
  EXPECT_EQ(answer, "com.tessaly.mirel.std.errors.unauthenticated");

  SessionLeaseFilter withoutExecutor(nullptr, next, nullptr);
  EXPECT_THROW(Call(withoutExecutor, InTheSession(), [](const auto&, const auto&, auto&&) {}),
               std::bad_function_call);
}

TEST_F(LeaseFilterTest, CallsWithoutASessionPass) {
  int calls = 0;
  next->script = [&](const auto& result) {
    ++calls;
    result(nullptr, {}, nullptr);
  };
  Call(*filter, Activation({}), [&](const auto&, const auto&, auto&&) { ++calls; });
  EXPECT_EQ(log->text, "Invoke: method: a.b.c\nFailed to lookup session by activation\n");
  SessionLeaseFilter silent(nullptr, next, nullptr);
  Call(silent, InTheSession(), [&](const auto&, const auto&, auto&&) { ++calls; });
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(CountLeases(), 0);
}

// Calls come on one thread and are answered, or dropped, on another one.
TEST_F(LeaseFilterTest, LeasesCrossThreads) {
  SessionLeaseFilter silent(nullptr, next, nullptr);
  std::mutex mutex;
  std::vector<std::thread> answers;
  next->script = [&](const AsyncApiResultCb& result) {
    const std::lock_guard lock(mutex);
    answers.emplace_back([result, report = answers.size() % 2 == 0] {
      if (report) result(nullptr, {}, nullptr);
    });
  };
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([&] {
      for (int call = 0; call < 50; ++call)
        Call(silent, InTheSession(), [](const auto&, const auto&, auto&&) {});
    });
  }
  for (auto& caller : callers) caller.join();
  for (auto& answer : answers) answer.join();
  EXPECT_EQ(answers.size(), 200U);
  EXPECT_EQ(CountLeases(), 0);
}

// The prefix and so many hexadecimal digits.
bool EndsIn(const std::string& text, const std::string& prefix, std::size_t digits) {
  return text.starts_with(prefix) && text.size() == prefix.size() + digits &&
         text.find_first_not_of("0123456789abcdef", prefix.size()) == std::string::npos;
}

class OpIdFilterTest : public testing::Test {
 protected:
  // Gives what a record within the call shows of the context.
  std::string Invoke(const std::string& clientOpId) {
    auto context = std::make_shared<Mirel::Core::ExecutionContext>();
    context->applicationContext["opId"] = clientOpId;
    std::string seen;
    next->script = [&](const auto& result) {
      seen = Corvane::Service::GetLogContextText();
      result(nullptr, {}, nullptr);
    };
    Call(filter, Mirel::Core::AsyncActivation::GetInstance(context), [](const auto&, const auto&, auto&&) {});
    return seen;
  }

  std::shared_ptr<ScriptedProvider> next = std::make_shared<ScriptedProvider>();
  std::shared_ptr<TraceLog> log = std::make_shared<TraceLog>();
  OpIdExtractFilter filter{next, log};
};

TEST_F(OpIdFilterTest, IdentifierIsInTheContextOfTheCallAlone) {
  const auto own = Invoke("");
  EXPECT_TRUE(EndsIn(own, " opId=", 16)) << own;
  const auto id = own.substr(own.find('=') + 1);
  EXPECT_EQ(log->text, "Invoke: method: a.b.c opId: " + id + "\n");
  EXPECT_EQ(Corvane::Service::GetLogContextText(), "");

  const Corvane::Service::LogContextOnStack outer(Corvane::Service::SetLogContext("opId", "outer"));
  const auto joined = Invoke("client");
  EXPECT_TRUE(EndsIn(joined, " opId=client-", 8)) << joined;
  EXPECT_NE(Invoke("client"), joined);
  EXPECT_EQ(Corvane::Service::GetLogContextText(), " opId=outer");
  next->script = [](const auto&) { throw std::runtime_error("passes"); };
  EXPECT_THROW(Call(filter, Activation({}), [](const auto&, const auto&, auto&&) {}), std::runtime_error);
  EXPECT_EQ(Corvane::Service::GetLogContextText(), " opId=outer");
}

TEST_F(OpIdFilterTest, HostileIdentifiersForgeNothing) {
  const auto logged = [&](const std::string& clientOpId) {
    const auto context = Invoke(clientOpId);
    return CaptureLog([&] {
      const Corvane::Service::LogContextOnStack scope(
          Corvane::Service::SetLogContext("opId", context.substr(context.find('=') + 1)));
      Corvane::Service::Logger::sDefaultLogger->Write(3, "line");
    });
  };
  const auto forged = logged("x\n2026-01-01T00:00:00 error forged\r\x1b[2J\xff");
  EXPECT_EQ(std::count(forged.begin(), forged.end(), '\n'), 1) << forged;
  EXPECT_NE(forged.find("opId=x\\n2026-01-01T00:00:00 error forged\\r\\x1b[2J\\xff-"), std::string::npos);

  // An odd offset, so that the bound is inside a character.
  std::string large = "x";
  while (large.size() < 1000000) large += "\u00e9";
  const auto cut = logged(large);
  EXPECT_LT(cut.size(), 512U);
  EXPECT_EQ(cut.find('\\'), std::string::npos) << cut;
  EXPECT_LT(logged(std::string(1000000, '\x80')).size(), 2000U);
}

}  // namespace
}  // namespace SarnMirel::Filter

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <utility>

#include "platform/corvane/authenticate.h"
#include "platform/corvane/loginBudget.h"

namespace Corvane::System {
namespace {

bool IsAdmitted(LoginBudget& budget) {
  return budget.Admit() == LoginBudget::Verdict::Admitted;
}

// The services and users are those of the files beside this one.
class PamTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("PAM_WRAPPER_SERVICE_DIR")) GTEST_SKIP() << "needs ctest and the PAM wrapper";
  }

  bool LogsIn(const std::string& user, const std::string& password, const char* service = "nornhesperd") {
    Ref<AuthTokenHelper> token = MakeRef<AuthTokenHelper>("left from before");
    const bool right = AuthenticateUser(user, password, service, budget, token);
    EXPECT_EQ(right, token != nullptr);
    EXPECT_EQ(token ? token->GetUserName() : user, user);
    return right;
  }

  std::int64_t now = 0;
  // What each look at the clock takes; with 0 there is no limit.
  std::int64_t step = 0;
  std::int64_t held = 0;
  LoginBudget budget{[this] { return now += step; },
                     [this](std::int64_t microseconds) { held += microseconds; }};
};

TEST_F(PamTest, PasswordAndAccountBothCount) {
  EXPECT_TRUE(LogsIn("root", "root secret"));
  EXPECT_TRUE(LogsIn("alice", "alice secret"));
  EXPECT_FALSE(LogsIn("alice", "root secret"));
  EXPECT_FALSE(LogsIn("alice", ""));
  EXPECT_FALSE(LogsIn("nobody", "root secret"));
  EXPECT_FALSE(LogsIn("mallory", "mallory secret")) << "the account is for another service";
  EXPECT_FALSE(LogsIn("root", "root secret", "unknown"));
}

TEST_F(PamTest, AllButRootsRightPasswordIsMadeEquallyLong) {
  LogsIn("root", "root secret");
  EXPECT_EQ(held, 0);
  for (const auto& [user, password] :
       {std::pair("root", "wrong"), {"nobody", "wrong"}, {"alice", "alice secret"}}) {
    LogsIn(user, password);
    EXPECT_EQ(std::exchange(held, 0), 10'000) << user;
  }
}

TEST_F(PamTest, WhatIsNoNameOrPasswordNeverReachesPam) {
  const std::string nul(1, '\0');
  EXPECT_TRUE(LogsIn(std::string(256, 'u'), std::string(1024, 'p'), "open"));
  EXPECT_FALSE(LogsIn("", "p", "open"));
  EXPECT_FALSE(LogsIn(std::string(257, 'u'), "p", "open"));
  EXPECT_FALSE(LogsIn("root" + nul + "x", "p", "open"));
  EXPECT_FALSE(LogsIn("root", std::string(1025, 'p'), "open"));
  EXPECT_FALSE(LogsIn("root", "p" + nul, "open"));
}

TEST_F(PamTest, ThePasswordIsSaidOnceAndNeverToBeShown) {
  EXPECT_FALSE(LogsIn("root", "root secret", "echo"));
  EXPECT_FALSE(LogsIn("root", "root secret", "twice"));
}

TEST_F(PamTest, PasswordsUseUpTheBudgetAndTimeFillsIt) {
  step = 10'000;
  int wrong = 0;
  for (; IsAdmitted(budget) && wrong < 100; ++wrong) EXPECT_FALSE(LogsIn("root", "wrong"));
  EXPECT_GE(wrong, 3);
  EXPECT_LE(wrong, 20);
  for (int i = 0; i < 5; ++i) EXPECT_FALSE(LogsIn("root", "root secret")) << "the flood keeps everybody out";
  now += 60'000'000;
  EXPECT_TRUE(LogsIn("root", "root secret"));
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(LogsIn("root", "root secret")) << i;
  int right = 0;
  while (LogsIn("alice", "alice secret") && right < 100) ++right;
  EXPECT_LE(right, 20) << "who may not come in anyway could hold up the thread";
}

TEST(LoginBudgetTest, FillsByTimeUpToItsCapacity) {
  std::int64_t now = 7;
  LoginBudget budget([&] { return now; });
  budget.Charge(100'000);
  EXPECT_FALSE(IsAdmitted(budget));
  // Many short steps earn what one long step does.
  for (int i = 0; i < 199; ++i) {
    ++now;
    EXPECT_FALSE(IsAdmitted(budget));
  }
  ++now;
  EXPECT_TRUE(IsAdmitted(budget));
  budget.Charge(10'001);
  now += 10'000 * 200;
  EXPECT_FALSE(IsAdmitted(budget)) << "a debt is waited off";
  budget.Charge(2'000'000'000);
  now += 4'000'200;
  EXPECT_TRUE(IsAdmitted(budget)) << "one slow check keeps everybody out for seconds, not for days";
  now += std::int64_t{1} << 50;
  budget.Charge(100'000);
  using Verdict = LoginBudget::Verdict;
  EXPECT_EQ(budget.Admit(), Verdict::RefusedFirst) << "no stock for worse times";
  EXPECT_EQ(budget.Admit(), Verdict::Refused);
}

TEST(LoginBudgetTest, ChecksAreMadeAsLongAsTheLongest) {
  std::int64_t now = 0;
  LoginBudget budget([&] { return now; }, [&](std::int64_t microseconds) { now += microseconds; });
  const auto settle = [&](std::int64_t microseconds) {
    const std::int64_t start = now;
    now += microseconds;
    budget.Settle(start);
    return now - start;
  };
  EXPECT_EQ(settle(2'600), settle(6'400));
  settle(30'000'000);
  EXPECT_EQ(settle(2'600), 15'000) << "one that was held up does not count for long";
  for (int i = 0; i < 6; ++i) settle(40'000);
  EXPECT_EQ(settle(2'600), settle(40'000));
  for (int i = 0; i < 20; ++i) settle(30'000'000);
  EXPECT_EQ(settle(2'600), 100'000);
}

}  // namespace
}  // namespace Corvane::System

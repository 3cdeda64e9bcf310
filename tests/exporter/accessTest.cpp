#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <set>
#include <string>
#include <vector>

#include "fleet/exporter/sessions.h"
#include "fleet/exporter/tokenCheck.h"
#include "fleet/exporter/tryLimit.h"

namespace Fleet {
namespace {

using Corvane::WipedString;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

const auto kBegin = std::chrono::steady_clock::now();

TEST(SessionsTest, LastTwelveHoursAndAsLongAsTheTokenIsTaken) {
  Sessions sessions;
  const SecretHash kept(sessions.Open(WipedString("t1"), kBegin));
  const SecretHash left(sessions.Open(WipedString("t2"), kBegin));
  EXPECT_TRUE(sessions.TakeDue(kBegin + seconds(59)).empty());
  EXPECT_EQ(sessions.TakeDue(kBegin + seconds(61)).size(), 2U);
  EXPECT_TRUE(sessions.TakeDue(kBegin + seconds(62)).empty());
  // The daemon is away: it lasts for some minutes.
  EXPECT_TRUE(sessions.Lasts(left, kBegin + minutes(9)));
  EXPECT_FALSE(sessions.Lasts(left, kBegin + minutes(10)));
  for (int minute = 0; minute < 12 * 60; minute += 5) sessions.Confirm(kept, kBegin + minutes(minute));
  EXPECT_EQ(sessions.TokenOf(kept, kBegin + hours(12) - seconds(1))->text(), "t1");
  EXPECT_FALSE(sessions.TokenOf(left, kBegin + hours(12) - seconds(1)));
  EXPECT_FALSE(sessions.Lasts(kept, kBegin + hours(12)));
  EXPECT_FALSE(sessions.TokenOf(kept, kBegin + hours(12)));
}

TEST(SessionsTest, AreSixtyFourAndNobodyGuessesOne) {
  Sessions sessions;
  std::set<std::string> secrets;
  const SecretHash first(sessions.Open(WipedString("t"), kBegin));
  const SecretHash second(sessions.Open(WipedString("t"), kBegin));
  sessions.TokenOf(first, kBegin + seconds(1));
  for (int i = 0; i < 63; ++i) secrets.insert(sessions.Open(WipedString("t"), kBegin + seconds(1)));
  EXPECT_EQ(secrets.size(), 63U);
  EXPECT_TRUE(sessions.Lasts(first, kBegin + seconds(2)));
  EXPECT_FALSE(sessions.Lasts(second, kBegin + seconds(2)));
  for (const auto& secret : secrets) EXPECT_EQ(secret.size(), 64U);
  EXPECT_FALSE(sessions.Lasts(SecretHash(""), kBegin));
}

TEST(TryLimitTest, EachUserHasFiveAtOnceAndOneASecond) {
  TryLimit limit;
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(limit.Take(1000, kBegin));
  EXPECT_FALSE(limit.Take(1000, kBegin));
  EXPECT_TRUE(limit.Take(1001, kBegin));
  EXPECT_TRUE(limit.Take(std::nullopt, kBegin));
  // Refused ones cost nothing: after the flood it isn't long.
  for (int i = 0; i < 100; ++i) EXPECT_FALSE(limit.Take(1000, kBegin + std::chrono::milliseconds(5 * i)));
  EXPECT_TRUE(limit.Take(1000, kBegin + seconds(1)));
  limit.Return(1000);
  EXPECT_TRUE(limit.Take(1000, kBegin + seconds(1)));
  EXPECT_FALSE(limit.Take(1000, kBegin + seconds(1)));
}

Checked Wait(TokenCheck& check, const char* token) {
  std::promise<Checked> answer;
  check.Check(WipedString(token), std::chrono::steady_clock::now(),
              [&answer](const Checked& checked) { answer.set_value(checked); });
  return answer.get_future().get();
}

TEST(TokenCheckTest, TokenIsBelievedWhileTheDaemonIsAway) {
  std::atomic<bool> isAway = false;
  std::atomic<bool> isRefused = false;
  TokenCheck check([&](const std::string& token) -> std::string {
    if (isAway) throw CallFault(CallFault::Kind::Interrupted, "away");
    if (isRefused) throw CallFault(CallFault::Kind::Refused, "no");
    return "{\"of\":\"" + token + "\"}";
  });
  EXPECT_EQ(Wait(check, "good").stats, "{\"of\":\"good\"}");
  isAway = true;
  EXPECT_TRUE(Wait(check, "good").believed);
  EXPECT_EQ(Wait(check, "good").verdict, Checked::Verdict::Away);
  EXPECT_FALSE(Wait(check, "other").believed);
  EXPECT_TRUE(check.WasGood(WipedString("good"), std::chrono::steady_clock::now() + minutes(9)));
  EXPECT_FALSE(check.WasGood(WipedString("good"), std::chrono::steady_clock::now() + minutes(11)));
  isAway = false;
  Wait(check, "good");
  isRefused = true;
  EXPECT_EQ(Wait(check, "good").verdict, Checked::Verdict::Refused);
  isAway = true;
  EXPECT_FALSE(Wait(check, "good").believed);
  // What can't be a token isn't asked about.
  for (const char* text : {"", "a b", "a\r\nX: y", "\xc3\xa4"}) {
    EXPECT_EQ(Wait(check, text).verdict, Checked::Verdict::Refused) << text;
  }
  EXPECT_EQ(Wait(check, std::string(4097, 'x').c_str()).verdict, Checked::Verdict::Refused);
}

TEST(TokenCheckTest, HangingDaemonHoldsNobodyUp) {
  std::promise<void> release;
  const auto released = release.get_future().share();
  TokenCheck check([&](const std::string& /*token*/) -> std::string {
    released.wait();
    return "{}";
  });
  std::atomic<int> away = 0;
  const auto now = std::chrono::steady_clock::now();
  constexpr int kAsked = 300;
  for (int i = 0; i < kAsked; ++i) {
    check.Check(WipedString("t"), now,
                [&](const Checked& checked) { away += checked.verdict == Checked::Verdict::Away ? 1 : 0; });
  }
  // Above the bound, at once.
  EXPECT_EQ(away, kAsked - 256);
  check.Tick(now + seconds(2));
  EXPECT_EQ(away, kAsked - 256);
  check.Tick(now + seconds(3));
  EXPECT_EQ(away, kAsked);
  release.set_value();
}

}  // namespace
}  // namespace Fleet

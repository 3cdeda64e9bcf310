#include "fleet/stream/follower.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/stream/callerSupport.h"
#include "tests/stream/daemonDouble.h"
#include "tests/stream/following.h"

namespace {

using namespace Testing;
using namespace std::chrono_literals;
using Taken = std::vector<std::string>;

// As quick as can be; what a test doesn't wait for never comes.
Fleet::FollowSettings Quick() {
  Fleet::FollowSettings settings;
  settings.firstWait = 1ms;
  settings.longestWait = 4ms;
  settings.gathering = 1ms;
  return settings;
}

TEST(FollowerTest, AsksForAGapOnlyWhenThereIsOne) {
  DaemonDouble daemon;
  auto settings = Quick();
  settings.quiet = 0ms;
  Following following(CallerOf(daemon.port()), {}, settings);
  const auto start = std::chrono::system_clock::now();
  {
    const auto call = daemon.Next();
    EXPECT_FALSE(call.Asks("past_seconds"));
    call.Give("vm", "YWFh");
    ASSERT_TRUE(following.WaitForTaken(1));
  }
  EXPECT_GE(following.Opened()[0], start - 1s);
  const auto call = daemon.Next();
  // Less than the slack: nothing from before the start.
  EXPECT_FALSE(call.Asks(R"("past_seconds":1)"));
  EXPECT_TRUE(following.WaitForOpen(2));
  EXPECT_EQ(following.Interrupted(), 1);
}

TEST(FollowerTest, LeavesOutWhatTheListenerHasHad) {
  DaemonDouble daemon;
  Fleet::Wanted wanted;
  wanted.pastSeconds = 3600;
  auto settings = Quick();
  settings.gathering = 1h;
  Following following(CallerOf(daemon.port()), wanted, settings);
  {
    const auto call = daemon.Next();
    EXPECT_TRUE(call.Asks(R"("past_seconds":3600)"));
    call.Give("vm", "YWFh", true);
    call.Give("vm", "YmJi");
    call.Give("vm", "YWFh");
    call.Give("other", "YWFh");
    ASSERT_TRUE(following.WaitForTaken(3));
  }
  const auto call = daemon.Next();
  call.Give("vm", "YmJi", true);
  call.Give("vm", "Y2Nj", true);
  EXPECT_TRUE(following.WaitForTaken(4));
  EXPECT_EQ(following.Taken(), (Taken{"vm aaa", "vm bbb", "other aaa", "vm ccc"}));
}

TEST(FollowerTest, AsksThoseOfWhomTheDaemonHearsLater) {
  DaemonDouble daemon;
  Fleet::Wanted wanted;
  wanted.pastSeconds = 3600;
  wanted.topics = {"a"};
  auto settings = Quick();
  settings.gathering = 200ms;
  Following following(CallerOf(daemon.port()), wanted, settings);
  const auto stream = daemon.Next();
  stream.Give("asked", "YWFh", true);
  stream.Give("asked", "YmJi");
  stream.Give("late1", "YmJi");
  stream.Give("late2", "YmJi");
  {
    const auto history = daemon.Next();
    EXPECT_TRUE(history.Asks(R"("vm_filter":[{"mgr_vm_id":"late1"},{"mgr_vm_id":"late2"}])"));
    EXPECT_TRUE(history.Asks(R"("topic_prefixes":["a"],"past_seconds":360)"));
    // The stream has what is live.
    history.Give("late1", "ZGRk");
    history.Give("late1", "Y2Nj", true);
    ASSERT_TRUE(following.WaitForTaken(5));
  }
  // Once more, as it broke off.
  const auto history = daemon.Next();
  EXPECT_TRUE(history.Asks(R"("late1")"));
  history.Give("late1", "Y2Nj", true);
  history.Give("late2", "Y2Nj", true);
  EXPECT_TRUE(following.WaitForTaken(6));
  stream.Give("late1", "ZGRk");
  EXPECT_TRUE(following.WaitForTaken(7));
}

TEST(FollowerTest, EndsTheCallForHistoryWhenNoMoreComes) {
  DaemonDouble daemon;
  Fleet::Wanted wanted;
  wanted.pastSeconds = 3600;
  auto settings = Quick();
  settings.quiet = 50ms;
  Following following(CallerOf(daemon.port()), wanted, settings);
  const auto stream = daemon.Next();
  stream.Give("late1", "YWFh");
  const auto first = daemon.Next();
  EXPECT_TRUE(first.HasEnded());
  // The next batch waited for the first one's end.
  stream.Give("late2", "YWFh");
  const auto second = daemon.Next();
  EXPECT_FALSE(second.Asks("late1"));
  EXPECT_TRUE(second.Asks("late2"));
  EXPECT_EQ(following.Interrupted(), 0);
}

TEST(FollowerTest, AsksForTheSameGapUntilItIsFilled) {
  DaemonDouble daemon;
  Fleet::Wanted wanted;
  wanted.pastSeconds = 3600;
  auto settings = Quick();
  settings.slack = 0ms;
  {
    Following following(CallerOf(daemon.port()), wanted, settings);
    { const auto call = daemon.Next(); }
    // A minute of quiet hasn't passed.
    EXPECT_TRUE(daemon.Next().Asks(R"("past_seconds":360)"));
  }
  settings.quiet = 0ms;
  Following following(CallerOf(daemon.port()), wanted, settings);
  {
    const auto call = daemon.Next();
    EXPECT_TRUE(following.WaitForOpen(1));
  }
  EXPECT_FALSE(daemon.Next().Asks(R"("past_seconds":360)"));
}

TEST(FollowerTest, EndsWhenItIsRefusedOrHasEnough) {
  DaemonDouble daemon;
  Following refused(CallerOf(daemon.port()), {}, Quick());
  daemon.Next().Send(Frame(R"({"error":{"message":"go away"}})"));
  EXPECT_TRUE(refused.WaitForEnd());
  EXPECT_EQ(refused.Fault(), "go away");
  Following enough(CallerOf(daemon.port()), {}, Quick(), 2);
  const auto call = daemon.Next();
  for (const char* payload : {"YWFh", "YmJi", "Y2Nj"}) call.Give("vm", payload);
  EXPECT_TRUE(enough.WaitForEnd());
  EXPECT_EQ(enough.Taken().size(), 2);
  EXPECT_TRUE(call.HasEnded());
}

TEST(FollowerTest, StopsWhileTheListenersQueueIsFull) {
  DaemonDouble daemon;
  Following following(CallerOf(daemon.port()), {}, Quick(), 1);
  const auto call = daemon.Next();
  for (int i = 1000; i != 3000; ++i) call.Give("vm", std::to_string(i));
  EXPECT_TRUE(following.WaitForEnd());
}

}  // namespace

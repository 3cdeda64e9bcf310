#include "fleet/forward/coverage.h"

#include <gtest/gtest.h>

namespace {

using namespace Fleet;
using namespace std::chrono_literals;

constexpr Moment kStart{std::chrono::hours(1000)};
constexpr std::chrono::seconds kMost = 1h;

TEST(GapTest, IsNeverNegativeAndNeverUnbounded) {
  EXPECT_EQ(GapSince(kStart, kStart, kMost).pastSeconds, 5);
  EXPECT_EQ(GapSince(kStart, kStart + 10001ms, kMost).pastSeconds, 16) << "not rounded up";
  EXPECT_EQ(GapSince(kStart + 5h, kStart, kMost).pastSeconds, 5);
  EXPECT_EQ(GapSince(kStart, kStart + 1h, kMost).lost, 0s);
  const auto longest = GapSince(kStart, kStart + 3h, kMost);
  EXPECT_EQ(longest.pastSeconds, 3605);
  EXPECT_EQ(longest.lost, 2h);
}

TEST(GapTest, ATimeInTheFutureGivesTheLongest) {
  const WallTime wall{std::chrono::hours(400'000)};
  EXPECT_EQ(MomentOf(wall - 7min, wall, kStart, kMost), kStart - 7min);
  EXPECT_EQ(MomentOf(wall + 1s, wall, kStart, kMost), kStart) << "the clock was corrected a little";
  EXPECT_EQ(MomentOf(wall + 24h, wall, kStart, kMost), kStart - kMost);
  // The longest time that a state file can hold, and the shortest.
  EXPECT_EQ(MomentOf(WallTime::max(), wall, kStart, kMost), kStart - kMost);
  EXPECT_GT(GapSince(MomentOf(WallTime{}, wall, kStart, kMost), kStart, kMost).lost, 24h);
}

TEST(CoverageTest, GoesOnWithEachLookWhileTheStreamStands) {
  Coverage coverage(kStart);
  coverage.OnLook(kStart + 1s, false);
  EXPECT_EQ(coverage.covered(), kStart) << "nothing has come yet";
  coverage.BeginRound();
  coverage.OnOpen(kStart + 2s, false);
  coverage.OnLook(kStart + 1s, false);
  EXPECT_EQ(coverage.covered(), kStart) << "the look began before the stream";
  coverage.OnLook(kStart + 5s, false);
  EXPECT_EQ(coverage.covered(), kStart + 5s);
  coverage.OnInterrupted();
  coverage.OnLook(kStart + 20s, false);
  EXPECT_EQ(coverage.covered(), kStart + 5s);
}

TEST(CoverageTest, WaitsForTheHistoryOfAGap) {
  Coverage coverage(kStart);
  coverage.BeginRound();
  coverage.OnOpen(kStart + 1min, true);
  coverage.OnLook(kStart + 2min, false);
  EXPECT_EQ(coverage.covered(), kStart) << "a VM may be asked later";
  coverage.OnHistory(kStart + 3min);
  coverage.OnLook(kStart + 3min + 5s, false);
  EXPECT_EQ(coverage.covered(), kStart) << "there was history just now";
  coverage.OnLook(kStart + 3min + 10s, false);
  EXPECT_EQ(coverage.covered(), kStart + 3min + 10s);
  coverage.OnInterrupted();
  coverage.OnOpen(kStart + 4min, true);
  for (int i = 1; i < 200; ++i) {
    coverage.OnHistory(kStart + 4min + i * 5s);
    coverage.OnLook(kStart + 4min + i * 5s, false);
  }
  EXPECT_GT(coverage.covered(), kStart + 14min) << "a guest has held it up with endless history";
}

TEST(CoverageTest, StaysBeforeADropUntilTheGuestsWereAskedAgain) {
  Coverage coverage(kStart);
  coverage.BeginRound();
  coverage.OnOpen(kStart, false);
  coverage.OnLook(kStart + 10s, false);
  coverage.OnLook(kStart + 15s, true);
  coverage.OnLook(kStart + 20s, false);
  EXPECT_TRUE(coverage.IsBroken());
  EXPECT_EQ(coverage.covered(), kStart + 10s);
  coverage.BeginRound();
  EXPECT_TRUE(coverage.IsBroken()) << "the new round isn't open yet";
  coverage.OnOpen(kStart + 30s, true);
  EXPECT_FALSE(coverage.IsBroken());
  // Another subscriber may be slow for ever: what came before this round is had all the same.
  for (int i = 1; i < 60; ++i) coverage.OnLook(kStart + 30s + i * 5s, true);
  EXPECT_TRUE(coverage.IsBroken());
  EXPECT_EQ(coverage.covered(), kStart + 30s);
}

}  // namespace

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "tests/keeping/keeper.h"

namespace {

using namespace Testing;
using GuestAgent::Store;
using std::chrono::hours;
using std::chrono::minutes;
using BoundedTopics = std::vector<std::string>;

constexpr std::uint64_t kBytes = 512 << 10;
constexpr Store::Bounds kSmall{.age = minutes(60), .bytes = kBytes, .bytesInMemory = 256 << 10};
// The file has room for what comes from memory and for indexes; the log has its own.
constexpr std::uint64_t kFileBytes = kBytes * 5 / 4 + (512 << 10);
constexpr std::uint64_t kLogBytes = (4 << 20) + (256 << 10);

std::uint64_t FileBytes(const std::string& path) {
  std::error_code error;
  const auto bytes = std::filesystem::file_size(path, error);
  return error ? 0 : bytes;
}

void ExpectBounded(const Keeper& keeper) {
  EXPECT_LE(keeper->Bytes(), kBytes);
  EXPECT_LE(FileBytes(keeper.path), kFileBytes);
  EXPECT_LE(FileBytes(keeper.path + "-wal"), kLogBytes);
}

class BoundsTest : public testing::TestWithParam<std::size_t> {};

TEST_P(BoundsTest, WhatWaitsIsNeverDropped) {
  Keeper keeper(kSmall);
  std::vector<std::uint64_t> kept;
  const auto past = keeper.KeepSent("past", GetParam());
  std::uint64_t handedOver = 0;
  while (const auto number = keeper.Keep("a", GetParam())) {
    kept.push_back(*number);
    handedOver += GetParam();
    ASSERT_LE(handedOver, kBytes);
  }
  ExpectBounded(keeper);
  EXPECT_GE(keeper->Bytes(), kBytes * 8 / 10);
  EXPECT_FALSE(keeper->Read(past));
  EXPECT_EQ(keeper.Waiting(), kept);
  keeper.clock.Pass(hours(100));
  keeper->Tidy();
  keeper.Open();
  EXPECT_EQ(keeper.Waiting(), kept);
  EXPECT_FALSE(keeper.Keep("a", GetParam()));
  // In no order, as topics take turns; nothing of this needs room that isn't there.
  std::shuffle(kept.begin(), kept.end(), std::minstd_rand(1));
  for (const auto number : kept) keeper->MarkSent(number);
  EXPECT_TRUE(keeper.Keep("a", GetParam()));
  ExpectBounded(keeper);
  EXPECT_EQ(keeper.Waiting().size(), 1u);
  EXPECT_EQ(keeper.told, BoundedTopics{});
}

TEST_P(BoundsTest, WhatWasSentGoesTheOldestFirst) {
  Keeper keeper(kSmall);
  const auto waiting = keeper.Keep("waits", GetParam()).value();
  std::uint64_t last = 0;
  for (std::uint64_t bytes = 0; bytes < 3 * kBytes; bytes += GetParam() + 100) {
    last = keeper.KeepSent("sent", GetParam());
    if (last % 16 == 0) ExpectBounded(keeper);
  }
  const auto past = keeper->ReadPast(0, {}, 1'000'000);
  ASSERT_FALSE(past.empty());
  // Those that are left are the newest, without a gap.
  EXPECT_EQ(past.back().sequence, last);
  EXPECT_EQ(past.front().sequence + past.size() - 1, last);
  EXPECT_GT(past.front().sequence, waiting + 1);
  // Few go at a time.
  EXPECT_GE((past.size() + 17) * 2 * (GetParam() + 100), kBytes);
  EXPECT_TRUE(keeper->Read(waiting));
}

INSTANTIATE_TEST_SUITE_P(OfBytes, BoundsTest, testing::Values(150, 2100, 4000, 13000));

TEST(StoreBoundsTest, AFileThatIsTooLargeByNowGetsRoomAgain) {
  Keeper keeper(kSmall);
  while (keeper.Keep("a", 400)) {
  }
  keeper.bounds.bytes = kBytes / 4;
  keeper.Open();
  EXPECT_FALSE(keeper.Keep("b"));
  for (const auto number : keeper.Waiting()) keeper->MarkSent(number);
  EXPECT_TRUE(keeper.Keep("b"));
  EXPECT_LE(keeper->Bytes(), kBytes / 4);
  EXPECT_EQ(keeper.told, BoundedTopics{});
}

TEST(StoreBoundsTest, WhatCanNeverHaveRoomCostsNothing) {
  Keeper keeper(kSmall);
  const auto past = keeper.KeepSent("past");
  EXPECT_FALSE(keeper->Keep(std::vector(30, MakeItem("a", 60000))));
  EXPECT_TRUE(keeper->Read(past));
}

TEST(StoreBoundsTest, MemoryHasBoundsOfItsOwn) {
  Keeper keeper(kSmall);
  keeper.path = "";
  keeper.Open();
  for (int i = 0; i < 3000; ++i) keeper.KeepSent("a", 300);
  EXPECT_LE(keeper->Bytes(), kSmall.bytesInMemory);
  while (keeper.Keep("a", 300)) {
  }
  EXPECT_LE(keeper->Bytes(), kSmall.bytesInMemory);
  keeper->Remove(keeper.Waiting().front());
  for (const auto number : keeper.Waiting()) keeper->MarkSent(number);
  EXPECT_TRUE(keeper.Keep("a", 300));
}

class AgeTest : public testing::Test {
 protected:
  bool IsThereAfterTidy() {
    keeper->Tidy();
    return keeper->Read(number).has_value();
  }

  Keeper keeper{kSmall};
  const std::uint64_t waiting = keeper.Keep("waits").value();
  const std::uint64_t number = keeper.KeepSent("a");
};

TEST_F(AgeTest, WithinARunTheWallClockSaysNothing) {
  for (const auto jump : {hours(100), hours(-300), hours(1000)}) {
    keeper.clock.wall += jump;
    keeper.clock.boot += minutes(19);
    EXPECT_TRUE(IsThereAfterTidy());
  }
  keeper.clock.boot += minutes(4);
  EXPECT_FALSE(IsThereAfterTidy());
  EXPECT_TRUE(keeper->Read(waiting));
}

TEST_F(AgeTest, BetweenRunsItCountsIfItGoesForward) {
  auto last = keeper->Now();
  for (const auto passed : {minutes(20), minutes(-500), minutes(19)}) {
    keeper.Close();
    keeper.clock.wall += passed;
    keeper.clock.boot = milliseconds(7);
    keeper.Open();
    EXPECT_EQ(keeper->Now(), last + std::max(minutes(0), passed));
    keeper.clock.Pass(minutes(5));
    last = keeper->Now();
    EXPECT_TRUE(IsThereAfterTidy());
    // It writes the time down.
    keeper.Keep("a");
  }
  keeper.Close();
  keeper.clock.wall += minutes(7);
  keeper.Open();
  EXPECT_FALSE(IsThereAfterTidy());
  EXPECT_TRUE(keeper->Read(waiting));
}

}  // namespace

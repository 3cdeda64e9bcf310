#include "guest/agent/sending/schedule.h"

#include <gtest/gtest.h>

#include <map>

namespace {

using GuestAgent::Owner;
using GuestAgent::Schedule;

constexpr Owner kAnn = 1000;
constexpr Owner kBob = 1001;

class ScheduleTest : public ::testing::Test {
 protected:
  // Gives false if there is no room for it.
  bool Add(Owner owner, const std::string& topic, bool isLatest = false, std::size_t bytes = 10) {
    if (!schedule_.Reserve(owner, bytes)) return false;
    const auto replaced = schedule_.Add(owner, topic, {++last_, bytes, isLatest, {}});
    replaced_ = replaced ? replaced->entry.sequence : 0;
    return true;
  }
  // The topics in the order in which they are sent, each with the last digit of its number.
  std::string TakeAll() {
    std::string order;
    while (const auto taken = schedule_.Take()) {
      schedule_.Release(taken->owner, taken->entry.bytes);
      order += taken->topic + std::to_string(taken->entry.sequence % 10) + " ";
    }
    return order;
  }

  Schedule schedule_{{100, 10000}};
  std::uint64_t last_ = 0;
  std::uint64_t replaced_ = 0;
};

TEST_F(ScheduleTest, TopicsTakeTurnsAndKeepTheirOrder) {
  for (int i = 0; i < 3; ++i) Add(kAnn, "a");
  Add(kAnn, "b");
  Add(kAnn, "c");
  EXPECT_EQ(TakeAll(), "a1 b4 c5 a2 a3 ");
  EXPECT_EQ(schedule_.Items(), 0U);
  EXPECT_EQ(schedule_.Bytes(), 0U);
}

TEST_F(ScheduleTest, AUserWithManyTopicsHasNoMoreThanOneWithFew) {
  for (int i = 0; i < 40; ++i) Add(kAnn, "ann" + std::to_string(i));
  for (int i = 0; i < 10; ++i) Add(kBob, "bob");
  std::map<Owner, int> sent;
  for (int i = 0; i < 20; ++i) ++sent[schedule_.Take()->owner];
  EXPECT_EQ(sent[kAnn], 10);
  EXPECT_EQ(sent[kBob], 10);
}

TEST_F(ScheduleTest, ATopicThatComesLaterGoesBehindThoseThatWait) {
  Add(kAnn, "b");
  Add(kAnn, "b");
  Add(kAnn, "c");
  EXPECT_EQ(schedule_.Take()->topic, "b");
  // New topics without end must not keep the old ones from their turn.
  Add(kAnn, "bb");
  EXPECT_EQ(TakeAll(), "c3 b2 bb4 ");
}

TEST_F(ScheduleTest, TheNewestOfTheClassLatestTakesThePlaceOfOneThatWaits) {
  Add(kAnn, "a", true);
  Add(kAnn, "b", true);
  EXPECT_EQ(replaced_, 0U);
  Add(kAnn, "a", true);
  EXPECT_EQ(replaced_, 1U);
  EXPECT_TRUE(schedule_.HasLatest("a"));
  // Another user's of the same topic, too.
  Add(kBob, "a", true);
  EXPECT_EQ(replaced_, 3U);
  EXPECT_EQ(schedule_.Items(), 2U);
  EXPECT_EQ(TakeAll(), "b2 a4 ");
  EXPECT_FALSE(schedule_.HasLatest("a"));
}

TEST_F(ScheduleTest, EventsOfATopicStayBesideItsLatest) {
  Add(kAnn, "a");
  Add(kAnn, "a", true);
  Add(kAnn, "a");
  Add(kAnn, "a", true);
  EXPECT_EQ(replaced_, 2U);
  EXPECT_EQ(TakeAll(), "a1 a3 a4 ");
}

TEST_F(ScheduleTest, AUserHasNoMoreThanWhatIsLeftThen) {
  int anns = 0;
  while (Add(kAnn, "a")) ++anns;
  EXPECT_EQ(anns, 50);
  int bobs = 0;
  while (Add(kBob, "b")) ++bobs;
  EXPECT_EQ(bobs, 25);
  EXPECT_EQ(schedule_.Items(), 75U);
}

TEST_F(ScheduleTest, WhatIsTakenHasItsRoomUntilItHasBeenSent) {
  while (Add(kAnn, "a")) {
  }
  const auto taken = schedule_.Take();
  EXPECT_FALSE(Add(kAnn, "a"));
  schedule_.Release(taken->owner, taken->entry.bytes);
  EXPECT_TRUE(Add(kAnn, "a"));
}

TEST_F(ScheduleTest, BytesAreBoundedAsWell) {
  EXPECT_FALSE(Add(kAnn, "a", false, 5001));
  EXPECT_TRUE(Add(kAnn, "a", false, 5000));
  EXPECT_FALSE(Add(kAnn, "a", false, 1));
  EXPECT_TRUE(Add(kBob, "b", false, 2500));
  EXPECT_EQ(schedule_.Bytes(), 7500U);
}

}  // namespace

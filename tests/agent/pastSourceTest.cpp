#include "guest/agent/sending/pastSource.h"

#include <gtest/gtest.h>

#include "tests/agent/doubles.h"

namespace {

using namespace Testing;
using GuestAgent::PastSource;

class PastSourceTest : public ::testing::Test {
 protected:
  std::uint64_t Keep(const GuestAgent::Item& item) { return *store_.Keep({&item, 1}); }
  std::uint64_t KeepSent(const std::string& topic, const std::string& payload = "payload") {
    const auto sequence = Keep(MakeItem(topic, payload));
    store_.MarkSent(sequence);
    return sequence;
  }
  void Ask(const std::string& text) { past_.Ask(text, store_.NextSequence() - 1); }
  // All that is sent, each as its number and for whom.
  std::string SendAll() {
    std::string all;
    do {
      while (const auto parcel = past_.Next()) {
        all += std::to_string(parcel->sequence) + SubscribersOf(parcel->text) + " ";
        past_.Accepted();
      }
    } while (past_.Search());
    EXPECT_TRUE(past_.IsEmpty());
    return all;
  }

  ClockDouble clock_;
  GuestAgent::Counters counters_;
  GuestAgent::Store store_{"", {seconds(3600), 64 << 20, 32 << 20}, clock_, [](const std::string&) {}};
  PastSource past_{store_, counters_};
};

TEST_F(PastSourceTest, GivesWhatIsAskedForTheOldestFirst) {
  KeepSent("a.b");
  KeepSent("a.bc");
  clock_.Pass(seconds(60));
  KeepSent("c");
  KeepSent("a.b.x");
  Ask(R"({ "pastSeconds": 3600, "id": 5 })");
  EXPECT_EQ(SendAll(), "1[5] 2[5] 3[5] 4[5] ");
  Ask(R"({ "pastSeconds": 3600, "id": 6, "topicPrefixes": [ "a.b", "c" ] })");
  EXPECT_EQ(SendAll(), "1[6] 3[6] 4[6] ");
  Ask(R"({ "pastSeconds": 30, "id": 7 })");
  EXPECT_EQ(SendAll(), "3[7] 4[7] ");
  // More than is kept gives what there is.
  Ask(R"({ "pastSeconds": 18446744073709551615, "id": 18446744073709551615 })");
  EXPECT_EQ(
      SendAll(),
      "1[18446744073709551615] 2[18446744073709551615] 3[18446744073709551615] 4[18446744073709551615] ");
  // The host would sort "a.bc" out after "a.b" and "a.bb", so it isn't sent.
  Ask(R"({ "pastSeconds": 3600, "id": 8, "topicPrefixes": [ "a", "a.bb" ] })");
  EXPECT_EQ(SendAll(), "1[8] 4[8] ");
  EXPECT_EQ(counters_.historySent, 15U);
}

TEST_F(PastSourceTest, ThoseWhoAskTogetherHaveItInOne) {
  for (int i = 0; i < 3; ++i) KeepSent(i == 1 ? "b" : "a");
  Ask(R"({"pastSeconds":60,"id":5})");
  Ask(R"({"pastSeconds":60,"id":6,"topicPrefixes":["a"]})");
  Ask(R"({"pastSeconds":60,"id":7})");
  EXPECT_EQ(SendAll(), "1[5,6,7] 3[6] 2[7,5] 3[5,7] ");
}

TEST_F(PastSourceTest, OneWhoAsksForLittleDoesNotWaitForOneWhoAsksForMuch) {
  for (int i = 0; i < 100; ++i) KeepSent("much");
  clock_.Pass(seconds(60));
  KeepSent("little");
  KeepSent("little");
  Ask(R"({"pastSeconds":3600,"id":5})");
  Ask(R"({"pastSeconds":10,"id":6})");
  EXPECT_EQ(SendAll().substr(0, 30), "1[5] 101[6] 2[5] 102[6] 3[5] 4");
}

TEST_F(PastSourceTest, WhatASubscriberGetsAsLiveDataIsNotSentAsThePast) {
  const auto sent = KeepSent("a");
  const auto waiting = Keep(MakeItem("a"));
  const auto onItsWay = Keep(MakeItem("a"));
  past_.LeftLive(onItsWay);
  Ask(R"({"pastSeconds":60,"id":5})");
  // The one that left before may have passed the host before the subscription was there.
  past_.LeftLive(waiting);
  store_.MarkSent(waiting);
  store_.MarkSent(onItsWay);
  KeepSent("a");  // handed over after the request
  EXPECT_EQ(SendAll(), std::to_string(sent) + "[5] " + std::to_string(onItsWay) + "[5] ");
}

TEST_F(PastSourceTest, HasABoundForThoseWhoAskAndLooksAtMuchInSteps) {
  for (int i = 0; i < 5000; ++i) KeepSent("noise");
  const auto last = KeepSent("rare");
  for (int i = 0; i < 40; ++i) {
    Ask(R"({"pastSeconds":60,"topicPrefixes":["rare"],"id":)" + std::to_string(i) + "}");
  }
  EXPECT_EQ(counters_.historyRequests, 32U);
  EXPECT_EQ(counters_.historyRefused, 8U);
  EXPECT_FALSE(past_.Next()) << "it has looked at all at once";
  EXPECT_TRUE(past_.Search());
  while (past_.Search()) {
  }
  const auto parcel = past_.Next();
  ASSERT_TRUE(parcel);
  EXPECT_EQ(parcel->sequence, last);
  Ask("nonsense");
  EXPECT_EQ(counters_.historyRefused, 9U);
}

TEST_F(PastSourceTest, ANumberThatComesAgainIsAskedForAnew) {
  KeepSent("a");
  KeepSent("b");
  Ask(R"({"pastSeconds":60,"id":1})");
  Ask(R"({"pastSeconds":60,"id":1,"topicPrefixes":["b"]})");
  EXPECT_EQ(SendAll(), "2[1] ");
}

TEST_F(PastSourceTest, WhatIsTooLongWithItsSubscribersIsLeftOut) {
  // A live one as long as can be has no room for a subscriber.
  const auto overhead = PublicationText(MakeItem("a", "").publication, 1).size();
  const auto payload = (69608 - overhead) / 4 * 3;
  KeepSent("a", std::string(payload, 'x'));
  // This one has room for one, not for two.
  KeepSent("a", std::string(payload - 18, 'x'));
  Ask(R"({"pastSeconds":60,"id":5})");
  Ask(R"({"pastSeconds":60,"id":6000000000})");
  EXPECT_EQ(SendAll(), "2[5] ");
  EXPECT_EQ(counters_.historySkipped, 3U);
}

}  // namespace

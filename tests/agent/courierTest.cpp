#include "guest/agent/sending/courier.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/agent/doubles.h"

namespace {

using namespace Testing;
using GuestAgent::Courier;
using GuestAgent::Parcel;
using Mood = HostDouble::Mood;

// Has so many publications to send, and remembers how each ended.
class SourceDouble final : public GuestAgent::Source {
 public:
  SourceDouble(std::uint64_t first, std::uint64_t count) : next_(first), end_(first + count) {}

  std::optional<Parcel> Next() override {
    if (next_ == end_) return std::nullopt;
    current_ = next_++;
    return Parcel{current_,
                  GuestLink::PublicationText({"2026-11-26T07:00:00Z", "t", "", "data", "x"}, current_)};
  }
  bool IsWanted() const override { return isWanted; }
  void Leaves() override { ++left; }
  void Accepted() override { accepted.push_back(current_); }
  void Refused(std::string_view) override { refused.push_back(current_); }
  void Dropped() override { dropped.push_back(current_); }

  bool isWanted = true;
  int left = 0;
  std::vector<std::uint64_t> accepted, refused, dropped;

 private:
  std::uint64_t next_, end_, current_ = 0;
};

class CourierTest : public ::testing::Test {
 protected:
  Courier Make(SourceDouble& live, SourceDouble& past) {
    return Courier([this] { return host_.Open(); }, live, past, counters_,
                   [this](const std::string& line) { told_.push_back(line); }, 1);
  }
  // Has it do what is due until this much time has passed.
  void Run(Courier& courier, milliseconds time) {
    const auto end = clock_.boot + time;
    for (;;) {
      const auto next = courier.Step(clock_.boot);
      // An acknowledgement wakes it at once.
      const auto again = courier.Step(clock_.boot);
      const auto due = again ? again : next;
      if (!due || *due > end) break;
      clock_.boot = std::max(clock_.boot, *due);
    }
    clock_.boot = end;
  }
  // The most that arrived in any second.
  std::size_t MostInASecond() const {
    std::size_t most = 0;
    for (std::size_t first = 0, i = 0; i < host_.arrivals.size(); ++i) {
      while (host_.arrivals[i].time - host_.arrivals[first].time >= seconds(1)) ++first;
      most = std::max(most, i - first + 1);
    }
    return most;
  }

  ClockDouble clock_;
  HostDouble host_{clock_};
  GuestAgent::Counters counters_;
  std::vector<std::string> told_;
  SourceDouble nothing_{0, 0};
};

TEST_F(CourierTest, IsNeverFasterThanTheHostSays) {
  SourceDouble live(1, 1000);
  auto courier = Make(live, nothing_);
  Run(courier, seconds(30));
  EXPECT_EQ(MostInASecond(), 2U);
  EXPECT_NEAR(static_cast<double>(host_.TakeArrivals().size()), 60, 1);
  // What the acknowledgements say counts, up and down.
  host_.rate = 10;
  Run(courier, seconds(10));
  EXPECT_NEAR(static_cast<double>(host_.arrivals.size()), 100, 6);
  EXPECT_LE(MostInASecond(), 10U);
  host_.rate = 0;
  Run(courier, seconds(1));
  host_.TakeArrivals();
  Run(courier, seconds(10));
  EXPECT_LE(host_.arrivals.size(), 10U);
  EXPECT_GE(host_.arrivals.size(), 9U);
}

TEST_F(CourierTest, LiveDataHasHalfOfTheRateBesideThePastAndAllWithoutIt) {
  SourceDouble live(1, 20), past(1001, 1000);
  auto courier = Make(live, past);
  Run(courier, seconds(20));
  std::size_t lives = 0;
  for (const auto sequence : host_.Sequences()) lives += sequence <= 1000 ? 1U : 0U;
  EXPECT_NEAR(static_cast<double>(lives), 20, 1);
  EXPECT_NEAR(static_cast<double>(host_.arrivals.size()), 40, 1);
  host_.TakeArrivals();
  Run(courier, seconds(20));
  EXPECT_NEAR(static_cast<double>(host_.arrivals.size()), 40, 1);
}

TEST_F(CourierTest, SendsTheSameAgainWhenNobodyAnswersLessAndLessOften) {
  host_.mood = Mood::IsSilent;
  SourceDouble live(7, 2);
  auto courier = Make(live, nothing_);
  Run(courier, std::chrono::minutes(10));
  const auto sequences = host_.Sequences();
  EXPECT_EQ(std::set<std::uint64_t>(sequences.begin(), sequences.end()), std::set<std::uint64_t>{7});
  ASSERT_GE(sequences.size(), 9U);
  ASSERT_LE(sequences.size(), 20U);
  const auto gap = [&](std::size_t i) { return host_.arrivals[i].time - host_.arrivals[i - 1].time; };
  // Five seconds of waiting for the answer, and then the pause: a half to one second at first, a minute at
  // most.
  EXPECT_GE(gap(1), milliseconds(5500));
  EXPECT_LE(gap(1), milliseconds(6000));
  EXPECT_LE(gap(sequences.size() - 1), seconds(69));
  EXPECT_GE(gap(sequences.size() - 1), seconds(37));
  EXPECT_EQ(counters_.repeats, sequences.size() - 1);
  EXPECT_EQ(host_.opened, static_cast<int>(sequences.size()));
  EXPECT_EQ(told_.size(), 1U) << "it is told once";
  host_.mood = Mood::Accepts;
  Run(courier, seconds(80));
  EXPECT_EQ(live.accepted, (std::vector<std::uint64_t>{7, 8}));
  EXPECT_EQ(told_.size(), 2U);
  // The next failure's pause is short again.
}

TEST_F(CourierTest, ComesBackFromAHostThatHangsUpOrIsAway) {
  for (const auto mood : {Mood::HangsUp, Mood::IsAway}) {
    host_.mood = mood;
    SourceDouble live(1, 3);
    auto courier = Make(live, nothing_);
    Run(courier, seconds(20));
    EXPECT_TRUE(live.accepted.empty());
    host_.mood = Mood::Accepts;
    Run(courier, seconds(70));
    EXPECT_EQ(live.accepted, (std::vector<std::uint64_t>{1, 2, 3}));
  }
}

TEST_F(CourierTest, AWayThatCannotBeOpenedIsTriedAgain) {
  int failures = 0;
  SourceDouble live(1, 1);
  Courier courier(
      [&]() -> std::unique_ptr<GuestLink::Channel> {
        if (failures++ < 3) {
          throw std::system_error(ENODEV, std::generic_category(), "connection to the host");
        }
        return host_.Open();
      },
      live, nothing_, counters_, [this](const std::string& line) { told_.push_back(line); }, 1);
  Run(courier, seconds(30));
  EXPECT_EQ(live.accepted, std::vector<std::uint64_t>{1});
  ASSERT_EQ(told_.size(), 2U);
  EXPECT_NE(told_[0].find("No such device"), std::string::npos);
}

TEST_F(CourierTest, WhatIsRefusedIsNotTriedAgain) {
  host_.mood = Mood::Refuses;
  SourceDouble live(1, 2);
  auto courier = Make(live, nothing_);
  Run(courier, seconds(60));
  EXPECT_EQ(host_.Sequences(), (std::vector<std::uint64_t>{1, 2}));
  EXPECT_EQ(live.refused, (std::vector<std::uint64_t>{1, 2}));
}

TEST_F(CourierTest, WhatNobodyWantsAnyMoreIsNotSentAgain) {
  host_.mood = Mood::IsSilent;
  SourceDouble live(1, 2);
  auto courier = Make(live, nothing_);
  Run(courier, seconds(1));
  live.isWanted = false;
  host_.mood = Mood::Accepts;
  Run(courier, seconds(20));
  EXPECT_EQ(live.dropped, (std::vector<std::uint64_t>{1, 2}));
  EXPECT_EQ(host_.Sequences(), std::vector<std::uint64_t>{1});
}

// A channel whose answers the test writes.
class Answering final : public GuestLink::Channel {
 public:
  explicit Answering(std::deque<std::string>& answers) : answers_(answers) {}
  bool Send(std::string_view) override { return true; }
  std::optional<std::string> Receive(milliseconds) override {
    if (answers_.empty()) return std::nullopt;
    auto first = answers_.front();
    answers_.pop_front();
    return first;
  }
  int Descriptor() const override { return 0; }

 private:
  std::deque<std::string>& answers_;
};

TEST_F(CourierTest, ALateAnswerIsNotTakenForAnothersAndNonsenseForNone) {
  std::deque<std::string> answers;
  SourceDouble live(5, 2);
  Courier courier([&] { return std::make_unique<Answering>(answers); }, live, nothing_, counters_,
                  [](const std::string&) {}, 1);
  courier.Step(clock_.boot);
  answers = {"nonsense", Acknowledgement(4, false, 2), ""};
  courier.Step(clock_.boot);
  EXPECT_TRUE(live.accepted.empty() && live.refused.empty());
  answers = {Acknowledgement(5, true, 2), Acknowledgement(5, true, 2)};
  courier.Step(clock_.boot);
  EXPECT_EQ(live.accepted, std::vector<std::uint64_t>{5});
}

}  // namespace

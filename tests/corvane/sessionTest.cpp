#include "platform/corvane/session.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <limits>
#include <stdexcept>
#include <thread>

#include "testing/sessionSupport.h"

namespace {

using Corvane::MakeRef;
using Corvane::Ref;
using Corvane::Session;
using Testing::Fate;
using Testing::ManualTime;
using Testing::Witness;

// Refers to its session, as the authentication structure of a call does.
class Owner final : public Witness {
 public:
  Owner(Fate& fate, Ref<Session> session) : Witness(fate), session_(std::move(session)) {}

 private:
  const Ref<Session> session_;
};

TEST(SessionTest, EndsWhenItHasBeenIdle) {
  ManualTime time;
  Fate fate;
  const auto session = time.MakeSession(100);
  session->SetAuthData(MakeRef<Witness>(fate));
  time.Pass(99);
  EXPECT_TRUE(session->Access());
  time.Pass(99);
  EXPECT_FALSE(session->HasEnded());
  EXPECT_EQ(session->GetAuthData()->GetUsername(), "alice");
  time.Pass(1);
  EXPECT_TRUE(session->HasEnded());
  EXPECT_FALSE(session->Access());
  EXPECT_EQ(fate.gone, 1);
  session->SetAuthData(MakeRef<Witness>(fate));
  EXPECT_FALSE(session->GetAuthData());
}

TEST(SessionTest, LeasesHoldItAndTheLastOneStartsTheIdleTimeAnew) {
  ManualTime time;
  const auto session = time.MakeSession(100);
  session->AddLease();
  session->AddLease();
  time.Pass(1000);
  session->RemoveLease();
  time.Pass(1000);
  session->RemoveLease();
  session->RemoveLease();
  time.Pass(99);
  session->AddLease();
  time.Pass(1000);
  EXPECT_FALSE(session->HasEnded());
  session->RemoveLease();
  time.Pass(100);
  EXPECT_TRUE(session->HasEnded());
}

TEST(SessionTest, IdleTimeoutChangesInBothDirections) {
  ManualTime time;
  const auto longer = time.MakeSession(100);
  const auto shorter = time.MakeSession(100);
  const auto endless = time.MakeSession(std::numeric_limits<std::int64_t>::max());
  const auto none = time.MakeSession(-1);
  time.Pass(10);
  EXPECT_TRUE(none->HasEnded());
  longer->SetIdleTimeout(200);
  shorter->SetIdleTimeout(50);
  time.Pass(40);
  EXPECT_TRUE(shorter->HasEnded());
  time.Pass(149);
  EXPECT_FALSE(longer->HasEnded());
  time.Pass(1);
  EXPECT_TRUE(longer->HasEnded());
  EXPECT_FALSE(endless->HasEnded());
}

TEST(SessionTest, TellsEachObjectOnceWhateverTheOthersDo) {
  ManualTime time;
  Fate fates[4];
  auto session = time.MakeSession(100);
  // Would not come back if the session were locked.
  const auto calling = MakeRef<Witness>(fates[0], [&session] {
    session->AddLease();
    session->GetObject("a");
    EXPECT_TRUE(session->HasEnded());
  });
  session->AttachObject("a", calling);
  session->AttachObject("b", MakeRef<Witness>(fates[1], [] { throw std::runtime_error("bad"); }));
  session->AttachObject("b", MakeRef<Witness>(fates[2], [] { throw 1; }));
  EXPECT_EQ(session->GetObject("a"), calling);
  testing::internal::CaptureStderr();
  EXPECT_TRUE(session->End());
  EXPECT_FALSE(session->End());
  session->AttachObject("late", MakeRef<Witness>(fates[3]));
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("An object of a session failed at its end: bad\n"), std::string::npos);
  EXPECT_EQ(log.find(session->GetId()), std::string::npos);
  EXPECT_FALSE(session->GetObject("a") || session->GetObject("late"));
  time.Pass(1000);
  session.reset();
  for (const auto& fate : fates) EXPECT_EQ(fate.told, 1);
  EXPECT_EQ(fates[2].gone + fates[3].gone, 2);
}

TEST(SessionTest, NothingStaysOfOneThatNobodyRefersTo) {
  ManualTime time;
  Fate plain;
  Fate cycle;
  time.MakeSession(100)->AttachObject("a", MakeRef<Witness>(plain));
  EXPECT_EQ(plain.told + plain.gone, 2);
  auto session = time.MakeSession(100);
  session->SetAuthData(MakeRef<Owner>(cycle, session));
  session->AttachObject("auth", session->GetAuthData());
  session.reset();
  EXPECT_EQ(cycle.told + cycle.gone, 0);
  time.Pass(100);
  EXPECT_EQ(cycle.told, 1);
  EXPECT_EQ(cycle.gone, 1);
}

// Says on which thread the session has ended.
class Signal final : public Corvane::SessionObject {
 public:
  void SessionEnded() override { promise_.set_value(std::this_thread::get_id()); }
  std::future<std::thread::id> Future() { return promise_.get_future(); }

 private:
  std::promise<std::thread::id> promise_;
};

TEST(SessionTest, EndsByItselfOnTheTimersThread) {
  Ref<Session> patient;
  Ref<Session> hasty;
  const auto signal = MakeRef<Signal>();
  auto thread = signal->Future();
  Corvane::CreateSession(3'600'000'000, patient);
  Corvane::CreateSession(1000, hasty);
  hasty->AttachObject("a", signal);
  ASSERT_EQ(thread.wait_for(std::chrono::minutes(1)), std::future_status::ready);
  EXPECT_NE(thread.get(), std::this_thread::get_id());
  EXPECT_FALSE(patient->HasEnded());
  EXPECT_NE(patient->GetId(), hasty->GetId());
}

TEST(SessionDeathTest, ProcessEndsWithSessionsThatLive) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  const auto end = [] {
    static Fate fate;
    static Ref<Session> kept;
    Corvane::CreateSession(3'600'000'000, kept);
    kept->SetAuthData(MakeRef<Owner>(fate, kept));
    std::exit(0);
  };
  EXPECT_EXIT(end(), testing::ExitedWithCode(0), "^$");
}

}  // namespace

#include "framework/transport/connection/inbox.h"

#include <gtest/gtest.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <chrono>
#include <string>
#include <thread>
#include <utility>

namespace Mirel::Asio {
namespace {

struct InboxTest : ::testing::Test {
  boost::asio::io_context io;
  Inbox& inbox = Inbox::Of(io);
  std::string events;
  bool isPutOff = false;
};

TEST_F(InboxTest, PutsOffBehindAFewJobsAndLetsOthersIn) {
  const int jobs = 2 * static_cast<int>(Inbox::kMostJobs) + 3;
  for (int i = 0; i < jobs; ++i) {
    inbox.Post([&] {
      events += 'j';
      if (std::exchange(isPutOff, true)) return;
      inbox.PutOff([&] {
        isPutOff = false;
        events += 'p';
        boost::asio::post(io, [&] { events += 'o'; });
      });
    });
  }
  EXPECT_EQ(events, "");  // never inside the call
  io.poll();
  const std::string whole(Inbox::kMostJobs, 'j');
  EXPECT_EQ(events, whole + "po" + whole + "po" + "jjjpo");
}

TEST_F(InboxTest, WhatIsPutOffOutsideOrTwiceIsAHandlerOfItsOwn) {
  inbox.PutOff([&] { events += 'a'; });
  inbox.Post([&] {
    inbox.PutOff([&] {
      events += 'b';
      inbox.PutOff([&] { events += 'c'; });
      inbox.Post([&] { events += 'd'; });
      events += 'e';
    });
  });
  EXPECT_EQ(events, "");
  io.poll();
  EXPECT_EQ(events.substr(0, 3), "abe");
  EXPECT_EQ(events.size(), 5U);
}

TEST_F(InboxTest, TellsHowManyJobsWaitAndHowLongOneHasWaited) {
  constexpr auto kHold = std::chrono::milliseconds(20);
  const int jobs = static_cast<int>(Inbox::kMostJobs) + 2;
  for (int i = 0; i < jobs; ++i) {
    inbox.Post([&] {
      if (events.empty()) {
        EXPECT_EQ(inbox.GetCounts().waiting, 2U);
      }
      events += 'j';
    });
  }
  EXPECT_EQ(inbox.GetCounts().waiting, static_cast<std::size_t>(jobs));
  EXPECT_EQ(inbox.GetCounts().longestWait.count(), 0);  // none has begun
  std::this_thread::sleep_for(kHold);
  io.poll();
  const auto counts = inbox.GetCounts();
  EXPECT_EQ(counts.waiting, 0U);
  EXPECT_GE(counts.longestWait, kHold);
  inbox.Post([] {});
  io.poll();
  EXPECT_EQ(inbox.GetCounts().longestWait, counts.longestWait);  // the longest one ever
}

// A job that finds the thread asleep, busy, or about to fall asleep.
TEST_F(InboxTest, EveryJobOfAnotherThreadWakesTheContext) {
  constexpr int kJobs = 20000;
  int done = 0;
  const auto work = boost::asio::make_work_guard(io);
  std::thread other([&] {
    for (int i = 0; i < kJobs; ++i) {
      inbox.Post([&done, i] { done += done == i; });
      if (i % 64 == 0) std::this_thread::sleep_for(std::chrono::microseconds(i % 200));
    }
  });
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (done < kJobs && std::chrono::steady_clock::now() < end) io.run_one_until(end);
  other.join();
  EXPECT_EQ(done, kJobs);
}

}  // namespace
}  // namespace Mirel::Asio

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

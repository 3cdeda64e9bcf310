#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "lib/sarnMirel/sessionHandler.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "lib/sarnMirel/sessionServiceImpl.h"
#include "platform/corvane/log.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace SarnMirel {
namespace {

using namespace Bridge;
using Corvane::Service::Logger;

constexpr int kThreads = 16;
constexpr int kRounds = 2000;
constexpr std::uint64_t kLimit = 20;

// All threads create sessions, of which the table holds fewer than they want, and end, use and outlive each
// other's. Whatever wins, every answer is one of the two, the limit holds, and no entry outlives its session.
TEST(SessionRace, CreateDeleteGetAndExpiry) {
  const auto mapping = std::make_shared<SessionMapping>(kLimit);
  const auto logger = Logger::Create({.level = 3});
  std::atomic<std::uint64_t> created{0};
  std::atomic<std::uint64_t> ended{0};
  SessionServiceImpl service(mapping, logger, nullptr);
  Authn::SessionHandler handler(mapping, logger, nullptr);
  const auto size = [&] {
    const std::lock_guard lock(mapping->mutex);
    return mapping->map.size();
  };
  std::mutex mutex;
  std::vector<std::string> known{"unknown"};

  const auto one = [&](int thread, int round) {
    const auto step = (thread + round) % 5;
    std::string id;
    if (step < 2) {
      SessionServiceImpl::CreateResult::ResultCb callbacks;
      callbacks.first = [&](const auto& value, const auto&, const auto&) {
        if (value) id = value->text();
      };
      service.Create(Activation({}, Login("alice")), SessionServiceImpl::CreateResult(std::move(callbacks)));
      EXPECT_LE(size(), kLimit);
      if (id.empty()) return;
      ++created;
      const std::lock_guard lock(mutex);
      known.push_back(id);
      return;
    }
    {
      const std::lock_guard lock(mutex);
      id = known[static_cast<std::size_t>(thread * 31 + round) % known.size()];
    }
    if (step == 2) {
      SessionServiceImpl::DeleteResult::ResultCb callbacks;
      callbacks.first = [&](const auto& value, const auto&, const auto&) { ended += value ? 1 : 0; };
      service.Delete(Activation(InSession(id)), SessionServiceImpl::DeleteResult(std::move(callbacks)));
      return;
    }
    // What an idle timeout does.
    if (SessionRef session; step == 3 && Manager().Find(mapping->Find(id), session)) {
      ended += session->End() ? 1 : 0;
      return;
    }
    handler.AsyncAuthenticate(Activation(InSession(id)), [&](const auto& value) { EXPECT_TRUE(value); });
    SessionServiceImpl::GetResult::ResultCb callbacks;
    callbacks.first = [&](const auto& value, const auto&, const auto&) {
      EXPECT_EQ(value ? (*value)->user : "alice", "alice");
    };
    service.Get(Activation(InSession(id)), SessionServiceImpl::GetResult(std::move(callbacks)));
  };

  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int round = 0; round < kRounds; ++round) one(thread, round);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GE(created.load(), kLimit);
  EXPECT_EQ(size(), created - ended) << "sessions that never end, or entries without one";
}

}  // namespace
}  // namespace SarnMirel

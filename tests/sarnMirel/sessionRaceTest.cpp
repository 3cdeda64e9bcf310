#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "lib/sarnMirel/sessionHandler.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "platform/corvane/log.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace SarnMirel {
namespace {

using namespace Bridge;

constexpr int kThreads = 16;
constexpr int kRounds = 2000;
constexpr std::uint64_t kLimit = 20;

// All threads create sessions, of which the table holds fewer than they want, and end, use and outlive each
// other's. Whatever wins, the limit holds, and no entry outlives its session.
TEST(SessionRaceTest, CreateDeleteGetAndExpiry) {
  const auto mapping = std::make_shared<SessionMapping>(kLimit);
  const auto logger = Corvane::Service::Logger::Create({.level = 3});
  SessionServiceImpl service(mapping, logger, nullptr);
  Authn::SessionHandler handler(mapping, logger, nullptr);
  std::atomic<std::uint64_t> created{0};
  std::atomic<std::uint64_t> ended{0};
  std::mutex mutex;
  std::vector<std::string> known{"unknown"};
  const auto size = [&] { return EntriesOf(*mapping); };
  const auto step = [&](int number, const std::string& id) {
    const auto inSession = Activation(InSession(id));
    SessionRef session;
    switch (number % 5) {
      case 0:
        if (Call(service, &SessionServiceImpl::Delete, inSession)) ++ended;
        return;
      case 1:
        if (Manager().Find(mapping->Find(id), session) && session->End()) ++ended;
        return;
      case 2:
        handler.AsyncAuthenticate(inSession, [](const auto& value) { EXPECT_TRUE(value); });
        Call(service, &SessionServiceImpl::Get, inSession);
        return;
      default:
        const auto secret = Call(service, &SessionServiceImpl::Create, Activation({}, Login("alice")));
        EXPECT_LE(size(), kLimit);
        if (!secret) return;
        ++created;
        const std::lock_guard lock(mutex);
        known.push_back(secret->text());
    }
  };

  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int round = 0; round < kRounds; ++round) {
        std::unique_lock lock(mutex);
        const auto id = known[static_cast<std::size_t>(thread * 31 + round) % known.size()];
        lock.unlock();
        step(thread + round, id);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GE(created.load(), kLimit);
  EXPECT_EQ(size(), created - ended) << "sessions that never end, or entries without one";
}

}  // namespace
}  // namespace SarnMirel

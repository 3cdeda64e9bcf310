#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "platform/corvane/session.h"
#include "platform/corvane/sessionManager.h"
#include "testing/sessionSupport.h"
#include "tests/corvane/interruption.h"

namespace {

using Corvane::MakeRef;
using Corvane::Ref;
using Corvane::Session;
using Corvane::SessionManager;
using Testing::Fate;
using Testing::ManualTime;
using Testing::Witness;

constexpr std::int64_t kIdleTimeout = 1;

// Sessions that many threads use, end and replace. Those of even slots end by idleness alone.
class Arena {
 public:
  Ref<Session> Take(std::size_t slot) {
    const std::lock_guard lock(mutex_);
    auto& session = slots_[slot];
    if (!session || session->HasEnded()) {
      session = time.MakeSession(kIdleTimeout);
      session->AttachObject("a", MakeRef<Witness>(fates_.emplace_back()));
      EXPECT_TRUE(manager->Add(session) || session->HasEnded());
    }
    return session;
  }

  void Step(unsigned random) {
    const std::size_t slot = random % kSlots;
    const auto session = Take(slot);
    Ref<Session> found;
    switch (random / kSlots % 4) {
      case 0:
        finds += manager->Find(session->GetId(), found);
        break;
      case 1:
        HoldLease(*session, slot);
        break;
      case 2:
        removals += slot % 2 == 1 && manager->Remove(session->GetId());
        break;
      default:
        session->AttachObject("b", MakeRef<Witness>(NewFate()));
    }
    time.Pass(1);
  }

  void HoldLease(Session& session, std::size_t slot) {
    session.AddLease();
    if (!session.HasEnded()) {
      time.Pass(2 * kIdleTimeout);
      if (slot % 2 == 0) {
        EXPECT_FALSE(session.HasEnded());
        ++leases;
      }
    }
    session.RemoveLease();
  }

  Fate& NewFate() {
    const std::lock_guard lock(mutex_);
    return fates_.emplace_back();
  }

  void EndAll() {
    manager.reset();
    for (auto& session : slots_) session.reset();
    for (const auto& fate : fates_) {
      ASSERT_EQ(fate.told, 1);
      ASSERT_EQ(fate.gone, 1);
    }
  }

  ManualTime time;
  Ref<SessionManager> manager = MakeRef<SessionManager>();
  std::atomic<int> finds{0};
  std::atomic<int> leases{0};
  std::atomic<int> removals{0};

 private:
  static constexpr std::size_t kSlots = 2;

  std::mutex mutex_;
  std::deque<Fate> fates_;  // does not move what it holds
  std::array<Ref<Session>, kSlots> slots_;
};

TEST(SessionRaceTest, EachEndsOnceAndNoneUnderItsLease) {
  Arena arena;
  std::vector<std::thread> threads;
  for (unsigned seed = 0; seed < 16; ++seed) {
    threads.emplace_back([&arena, seed] {
      std::minstd_rand random(seed + 1);
      for (int step = 0; step < 2000; ++step) arena.Step(static_cast<unsigned>(random() >> 4));
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GT(arena.finds, 0);
  EXPECT_GT(arena.leases, 0);
  EXPECT_GT(arena.removals, 0);
  arena.EndAll();
}

// What two threads want of one session; each says whether it got it, and one of them has to.
struct Rivalry {
  const char* name;
  std::int64_t idleTimeout;
  bool leased;
  std::function<bool(ManualTime&, Session&)> end;
  std::function<bool(Session&)> rival;
};

bool TakeLease(Session& session) {
  session.AddLease();
  return !session.HasEnded();
}

TEST(SessionRaceTest, NothingComesBetweenTheCheckAndTheEnd) {
  const auto beIdle = [](ManualTime& time, Session& session) {
    time.Pass(1);
    return session.HasEnded();
  };
  const auto giveLeaseBack = [](ManualTime&, Session& session) {
    session.RemoveLease();
    return session.HasEnded();
  };
  const Rivalry rivalries[] = {
      {"idleness and lease", 1, false, beIdle, &TakeLease},
      {"idleness and access", 1, false, beIdle, &Session::Access},
      {"last lease and new one", 0, true, giveLeaseBack, &TakeLease},
      {"two ends", 1, false, [](ManualTime&, Session& session) { return session.End(); }, &Session::End}};
  for (const auto& [name, idleTimeout, leased, end, rival] : rivalries) {
    for (int gap = 0;; ++gap) {
      ManualTime time;
      const auto session = time.MakeSession(idleTimeout);
      if (leased) session->AddLease();
      bool won = false;
      const Interruption interruption(gap, [&, rival = rival] { won = rival(*session); });
      const bool ended = end(time, *session);
      if (!interruption.HasHappened()) {
        ASSERT_GE(gap, 2) << name;
        break;
      }
      EXPECT_NE(ended, won) << name << ", gap " << gap;
    }
  }
}

}  // namespace

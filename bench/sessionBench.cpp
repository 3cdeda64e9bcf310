// What the session of one call costs: the look-up by its identifier and the access, and the question for one
// privilege of its user.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/corvane/authorize.h"
#include "platform/corvane/session.h"
#include "platform/corvane/sessionManager.h"

namespace {

using Corvane::Ref;
using Corvane::Session;
using Corvane::SessionManager;
using Corvane::Authorize::AuthorizeManager;

constexpr std::size_t kUsers = 100;

// Made before the first measurement of that size; all threads use the same.
struct Sessions {
  explicit Sessions(std::size_t count) {
    for (std::size_t i = 0; i < kUsers; ++i) authorize.Grant(User(i), AuthorizeManager::kEveryObject, "read");
    for (std::size_t i = 0; i < count; ++i) {
      Ref<Session> session;
      Corvane::CreateSession(3'600'000'000, session);
      authorize.AddConnection(session.get(), User(i), nullptr, false, nullptr);
      manager.Add(session);
      std::copy(session->GetId().begin(), session->GetId().end(), ids.emplace_back().begin());
    }
    // So that a look-up does not find its session's neighbour in the cache, and the order itself costs
    // little.
    std::shuffle(ids.begin(), ids.end(), std::minstd_rand());
  }

  static std::string User(std::size_t i) { return "user-" + std::to_string(i % kUsers); }

  static Sessions& OfSize(std::int64_t count) {
    static Sessions few(10);
    static Sessions many(10'000);
    static Sessions most(100'000);
    return count == 10 ? few : count == 10'000 ? many : most;
  }

  SessionManager manager;
  AuthorizeManager authorize;
  std::vector<std::array<char, 48>> ids;
};

// The threads start at different sessions.
template <typename Use>
void ForEachSession(benchmark::State& state, Use use) {
  auto& sessions = Sessions::OfSize(state.range(0));
  std::size_t next = static_cast<std::size_t>(state.thread_index()) * sessions.ids.size() / 2;
  for (auto _ : state) {
    use(sessions, std::string_view(sessions.ids[next].data(), sessions.ids[next].size()));
    if (++next == sessions.ids.size()) next = 0;
  }
}

void BM_LookUp(benchmark::State& state) {
  ForEachSession(state, [](Sessions& sessions, std::string_view id) {
    Ref<Session> session;
    benchmark::DoNotOptimize(sessions.manager.Find(id, session) && session->Access());
  });
}

void BM_LookUpAndHasPrivilege(benchmark::State& state) {
  ForEachSession(state, [](Sessions& sessions, std::string_view id) {
    Ref<Session> session;
    sessions.manager.Find(id, session);
    session->Access();
    benchmark::DoNotOptimize(sessions.authorize.HasPrivilege(session.get(), "vm-1", "read"));
  });
}

void BM_CreateAndEnd(benchmark::State& state) {
  for (auto _ : state) {
    Ref<Session> session;
    Corvane::CreateSession(30'000'000, session);
  }
}

BENCHMARK(BM_LookUp)->Arg(10)->Arg(10'000)->Arg(100'000)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_LookUpAndHasPrivilege)
    ->Arg(10)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(BM_CreateAndEnd)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace

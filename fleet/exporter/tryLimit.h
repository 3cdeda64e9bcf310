#pragma once

#include <sys/types.h>

#include <chrono>
#include <list>
#include <optional>

#include "platform/corvane/mutex.h"

namespace Fleet {

// How often tokens may be tried that the daemon hasn't taken lately. All callers come from the same address,
// so each user of this host has tries of its own: one who floods is refused, and nobody else.
// Those of whom the kernel knows no user share theirs. From any thread.
class TryLimit final {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Takes one of the user's tries; false if there is none.
  bool Take(std::optional<uid_t> user, Time now);
  // Gives it back: the token was a good one.
  void Return(std::optional<uid_t> user);

 private:
  struct Trier {
    std::optional<uid_t> user;
    double left;
    Time filled;
  };

  Trier& Find(std::optional<uid_t> user, Time now) CORVANE_REQUIRES(mutex_);

  Corvane::Mutex mutex_;
  std::list<Trier> triers_ CORVANE_GUARDED_BY(mutex_);  // the one that tried last in front
};

}  // namespace Fleet

#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>

#include "framework/transport/connection/ioTypes.h"
#include "platform/corvane/mutex.h"

namespace Mirel::Transport::Http {

// The memory that the bodies of all requests in flight may take together. A body claims its share before it
// is read; one that finds too little left waits unread. Requests without credentials share a quarter, so that
// those with credentials don't wait for them. Usable on any thread.
class BodyBudget final : public std::enable_shared_from_this<BodyBudget> {
 public:
  // What every body may have without a claim, so that a usual call never waits.
  static constexpr std::uint64_t kUnasked = 8192;

  struct Claim {
    std::uint64_t bytes;
    bool hasCredentials;
    // Ends the request. Called on any thread, when others wait and the body hasn't come in good time.
    // Requires: it doesn't call the budget, whose lock is held.
    std::function<void()> giveUp;
  };

  class Share;
  using SharePtr = std::shared_ptr<Share>;
  using Ready = std::function<void(const SharePtr&)>;

  static std::shared_ptr<BodyBudget> Make(const Asio::Executor& executor, std::uint64_t bytes,
                                          std::chrono::milliseconds patience = std::chrono::seconds(10));

  // `ready` gets the share on the executor, as soon as there is room for it. A claim for more than its class
  // may have gets all of that.
  void AsyncClaim(Claim claim, Ready ready);

 private:
  struct Waiting {
    Claim claim;
    Ready ready;
  };
  // The requests without credentials, or those with them.
  struct Class {
    std::uint64_t most;
    std::uint64_t used = 0;
    std::deque<Waiting> waiting;
  };

  BodyBudget(const Asio::Executor& executor, std::uint64_t bytes, std::chrono::milliseconds patience);

  Class& ClassOf(const Claim& claim) CORVANE_REQUIRES(mutex_) {
    return claim.hasCredentials ? known_ : strangers_;
  }
  bool Fits(const Claim& claim) CORVANE_REQUIRES(mutex_);
  void Grant(Waiting waiting) CORVANE_REQUIRES(mutex_);
  void GiveBack(Share& share);
  void StopReading(Share& share) CORVANE_REQUIRES(mutex_);
  void ServeWaiting() CORVANE_REQUIRES(mutex_);
  void LookAfterTheSlow() CORVANE_REQUIRES(mutex_);
  void GiveUpTheSlow();

  // Invariants, while nobody holds the lock:
  // 1. What a class uses is the sum of its living shares, and never more than its `most`.
  // 2. Both classes together never use more than bytes_.
  // 3. The first claim that waits in a class doesn't fit, or it has no credentials and one that has them
  //    waits.
  // 4. reading_ has the shares whose bodies are neither complete nor given up, the oldest in front.
  // 5. While a claim waits and reading_ isn't empty, the timer runs.
  Corvane::Mutex mutex_;
  Asio::SteadyTimer timer_;
  bool timerRuns_ CORVANE_GUARDED_BY(mutex_) = false;
  std::uint64_t bytes_;
  std::chrono::milliseconds patience_;
  Class strangers_ CORVANE_GUARDED_BY(mutex_);
  Class known_ CORVANE_GUARDED_BY(mutex_);
  std::list<Share*> reading_ CORVANE_GUARDED_BY(mutex_);
};

// A body's part of the budget, given back at the end of the object.
class BodyBudget::Share {
 public:
  Share(std::shared_ptr<BodyBudget> budget, Claim claim);
  ~Share();
  Share(const Share&) = delete;
  Share& operator=(const Share&) = delete;

  // The body has been read: its sender can't be too slow any more.
  void Complete();

 private:
  friend class BodyBudget;

  std::shared_ptr<BodyBudget> budget_;
  Claim claim_;
  std::chrono::steady_clock::time_point since_;
  bool reading_ = true;
};

}  // namespace Mirel::Transport::Http

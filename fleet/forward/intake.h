#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <stop_token>
#include <string>

#include "fleet/forward/counters.h"
#include "fleet/forward/coverage.h"
#include "fleet/forward/outgoing.h"
#include "fleet/forward/sendQueue.h"
#include "fleet/stream/follower.h"

namespace Fleet {

// Brings the daemon's publications into the queue, in rounds: a round ends when the queue is full, or when
// something was dropped, and the next one asks the guests for everything since the coverage. What came twice
// by that is for JetStream to find.
class Intake final : private Listener {
 public:
  Intake(Caller caller, Wanted wanted, Origin origin, std::chrono::seconds mostGap, SendQueue& queue,
         Coverage& coverage, Counters& counters);

  // Until a stop is asked for. The first round asks for so many seconds. Throws CallFault when the daemon
  // refuses.
  void Run(const Gap& firstGap, const std::stop_token& stop);
  // Begins a new round, from any thread.
  void AskAgain();

 private:
  bool Take(const Element& element) override;
  void OnInterrupted(const std::string& reason, std::chrono::milliseconds wait) override;
  void OnOpen(WallTime gapBegin) override;

  void RunRound(const Gap& gap, const std::stop_token& stop);
  void WaitForRoom(const std::stop_token& stop);

  const Caller caller_;
  Wanted wanted_;
  const Origin origin_;
  const std::chrono::seconds mostGap_;
  SendQueue& queue_;
  Coverage& coverage_;
  Counters& counters_;

  std::mutex mutex_;
  std::stop_source round_;  // guarded by mutex_
  Moment roundBegin_{};
  Gap gap_;
  bool overflowed_ = false;
  bool told_ = false;
};

}  // namespace Fleet

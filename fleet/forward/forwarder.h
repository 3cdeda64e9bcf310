#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <exception>
#include <optional>
#include <stop_token>

#include "fleet/forward/counters.h"
#include "fleet/forward/coverage.h"
#include "fleet/forward/dropWatch.h"
#include "fleet/forward/intake.h"
#include "fleet/forward/options.h"
#include "fleet/forward/publisher.h"
#include "fleet/forward/sendQueue.h"
#include "fleet/forward/sender.h"
#include "fleet/forward/stateFile.h"

namespace Fleet {

// The whole program: a thread that takes publications from the daemon, one that sends them, and the caller's,
// which keeps the state, watches the daemon's numbers and tells the log what was done.
class Forwarder final {
 public:
  // Throws std::system_error when the state can't be kept.
  explicit Forwarder(const ForwardOptions& options);

  // Until SIGTERM or SIGINT comes, which the caller has blocked. Throws CallFault when the daemon refuses.
  void Run();

 private:
  using Told = std::array<std::uint64_t, 8>;

  struct Start {
    Moment covered;
    Gap gap;
  };
  static Start ReadStart(const ForwardOptions& options, const StateFile& file);
  Forwarder(const ForwardOptions& options, const Start& start);

  void TakeFromDaemon(const std::stop_token& stop);
  void WatchUntilEnd();
  void KeepState();
  Moment StoredUntil() const;
  void TellCounters();

  StateFile stateFile_;
  std::optional<Moment> written_;
  bool stateFails_ = false;
  Told told_{};
  const Gap firstGap_;
  Counters counters_;
  SendQueue queue_;
  Coverage coverage_;
  Publisher publisher_;
  Sender sender_;
  Intake intake_;
  DropWatch dropWatch_;
  std::exception_ptr failure_;
  std::atomic<bool> failed_ = false;
};

}  // namespace Fleet

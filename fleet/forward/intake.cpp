#include "fleet/forward/intake.h"

#include <utility>

#include "platform/corvane/log.h"

namespace Fleet {
namespace {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;
using std::chrono::steady_clock;

// While NATS takes nothing for longer, the daemon's stream isn't kept waiting.
constexpr std::chrono::seconds kQueuePatience{2};
// Between two tries while the daemon is away.
constexpr std::chrono::seconds kLongestPause{5};
// How much a gap may grow beyond the longest while the daemon is away.
constexpr std::chrono::minutes kLongestWait{1};

}  // namespace

Intake::Intake(Caller caller, Wanted wanted, Origin origin, std::chrono::seconds mostGap, SendQueue& queue,
               Coverage& coverage, Counters& counters)
    : caller_(std::move(caller)),
      wanted_(std::move(wanted)),
      origin_(std::move(origin)),
      mostGap_(mostGap),
      queue_(queue),
      coverage_(coverage),
      counters_(counters) {}

void Intake::Run(const Gap& firstGap, const std::stop_token& stop) {
  RunRound(firstGap, stop);
  while (!stop.stop_requested()) {
    if (std::exchange(overflowed_, false)) WaitForRoom(stop);
    RunRound(GapSince(coverage_.covered(), steady_clock::now(), mostGap_), stop);
  }
}

void Intake::AskAgain() {
  const std::lock_guard lock(mutex_);
  round_.request_stop();
}

void Intake::RunRound(const Gap& gap, const std::stop_token& stop) {
  {
    const std::lock_guard lock(mutex_);
    round_ = std::stop_source();
  }
  const std::stop_callback endRound(stop, [this] { AskAgain(); });
  gap_ = gap;
  wanted_.pastSeconds = gap.pastSeconds;
  roundBegin_ = steady_clock::now();
  coverage_.BeginRound();
  FollowSettings settings;
  settings.longestWait = kLongestPause;
  Follow(caller_, wanted_, round_.get_token(), *this, settings);
  coverage_.OnInterrupted();
}

void Intake::WaitForRoom(const std::stop_token& stop) {
  ++counters_.overflows;
  LogInternal(Logger::sDefaultLogger.get(), 4,
              "The queue is full; when NATS has taken it, the guests are asked for what comes meanwhile");
  queue_.WaitUntilEmpty(stop);
}

bool Intake::Take(const Element& element) {
  const auto now = steady_clock::now();
  if (element.history) coverage_.OnHistory(now);
  const auto round = round_.get_token();
  if (queue_.Put(MakeOutgoing(origin_, element, now), round, kQueuePatience)) return true;
  overflowed_ = !round.stop_requested();
  return false;
}

void Intake::OnInterrupted(const std::string& reason, std::chrono::milliseconds) {
  coverage_.OnInterrupted();
  if (!std::exchange(told_, true)) {
    ++counters_.interruptions;
    LogInternal(Logger::sDefaultLogger.get(), 4, "The daemon's stream is interrupted: %1", reason);
  }
  const auto now = steady_clock::now();
  if (now - coverage_.covered() > mostGap_ && now - roundBegin_ > kLongestWait) AskAgain();
}

void Intake::OnOpen(WallTime) {
  const bool interrupted = std::exchange(told_, false);
  coverage_.OnOpen(steady_clock::now(), interrupted || gap_.pastSeconds > 0);
  if (gap_.pastSeconds > 0) {
    ++counters_.gaps;
    LogInternal(Logger::sDefaultLogger.get(), 6, "Subscribed; guests are asked for the last %1 s",
                gap_.pastSeconds);
  } else if (interrupted) {
    ++counters_.gaps;
    LogInternal(Logger::sDefaultLogger.get(), 6,
                "Subscribed again; guests are asked for what came meanwhile");
  } else {
    LogInternal(Logger::sDefaultLogger.get(), 6, "Subscribed");
  }
  if (gap_.lost.count() > 0) {
    LogInternal(Logger::sDefaultLogger.get(), 4,
                "What was published in the %1 s before that isn't asked for, and may be lost",
                gap_.lost.count());
  }
  gap_ = {};
}

}  // namespace Fleet

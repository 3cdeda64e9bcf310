#include "fleet/stream/follower.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "fleet/stream/callEvents.h"
#include "fleet/stream/duration.h"
#include "fleet/stream/lateVms.h"
#include "fleet/stream/retryDelay.h"
#include "fleet/stream/seen.h"
#include "fleet/stream/sleepUnlessStopped.h"

namespace Fleet {
namespace {

using Wall = std::chrono::system_clock;
using Steady = std::chrono::steady_clock;
using Source = CallEvent::Source;

// A call on a thread of its own, which ends with the object.
class RunningCall final {
 public:
  RunningCall(Source source, const Caller& caller, Wanted wanted, CallEvents& events)
      : source_(source),
        wanted_(std::move(wanted)),
        events_(events),
        thread_([this, &caller](const std::stop_token& stop) { Run(caller, stop); }) {}
  RunningCall(const RunningCall&) = delete;
  RunningCall& operator=(const RunningCall&) = delete;
  ~RunningCall() = default;

  const std::vector<std::string>& vms() const { return wanted_.vms; }

 private:
  void Run(const Caller& caller, const std::stop_token& stop) {
    try {
      Subscribe(
          caller, wanted_, stop,
          [&] {
            events_.Put({source_, CallOpen{}}, stop);
          },
          [&](Element&& element) {
            events_.Put({source_, std::move(element)}, stop);
            return true;
          });
    } catch (const CallFault& fault) {
      events_.Put({source_, fault}, stop);
    } catch (const std::exception& fault) {
      events_.Put({source_, CallFault(CallFault::Kind::Refused, fault.what())}, stop);
    }
  }

  const Source source_;
  const Wanted wanted_;
  CallEvents& events_;
  std::jthread thread_;
};

class Following final {
 public:
  Following(const Caller& caller, const Wanted& wanted, const std::stop_token& stop, Listener& listener,
            const FollowSettings& settings);
  void Run();

 private:
  std::int64_t GapSeconds() const;
  // Gives the fault that has ended the stream; none when the whole Follow is to end.
  std::optional<CallFault> RunStream();
  void OnStreamOpen();
  void OnElement(Source source, const Element& element);
  std::optional<CallFault> OnEnd(Source source, const CallFault& fault);
  void OnInterruption();

  Steady::time_point NextStep() const;
  void StepHistory();
  void BeginHistory();
  bool HasAllHistory() const;

  const Caller& caller_;
  const Wanted& wanted_;
  const std::stop_token stop_;
  Listener& listener_;
  const FollowSettings settings_;

  CallEvents events_;
  Seen seen_;
  LateVms late_;
  RetryDelay delay_;
  const Wall::time_point begin_;
  // Everything since then is to be had: moves only when what lies before has come.
  Wall::time_point gapBegin_;
  bool hasGap_ = false;
  bool done_ = false;
  std::optional<Steady::time_point> opened_;
  // When the last sign came that the guests are answering.
  Steady::time_point lastHistory_;

  std::optional<RunningCall> history_;
  Steady::time_point historyBegan_;
};

Following::Following(const Caller& caller, const Wanted& wanted, const std::stop_token& stop,
                     Listener& listener, const FollowSettings& settings)
    : caller_(caller),
      wanted_(wanted),
      stop_(stop),
      listener_(listener),
      settings_(settings),
      seen_(settings.remembered),
      late_(settings.gathering),
      delay_(settings.firstWait, settings.longestWait),
      begin_(Wall::now() - std::clamp(std::chrono::seconds(wanted.pastSeconds), {}, kLongestDuration)),
      gapBegin_(begin_) {}

void Following::Run() {
  while (!stop_.stop_requested()) {
    const auto fault = RunStream();
    if (!fault) return;
    if (fault->kind == CallFault::Kind::Refused) throw *fault;
    OnInterruption();
    const auto wait = delay_.Next();
    listener_.OnInterrupted(fault->what(), wait);
    SleepUnlessStopped(wait, stop_);
  }
}

std::int64_t Following::GapSeconds() const {
  return std::max<std::int64_t>(0, std::chrono::round<std::chrono::seconds>(Wall::now() - gapBegin_).count());
}

std::optional<CallFault> Following::RunStream() {
  opened_.reset();
  late_.Reset();
  auto wanted = wanted_;
  wanted.pastSeconds = GapSeconds();
  hasGap_ = wanted.pastSeconds > 0;
  const RunningCall stream(Source::Stream, caller_, std::move(wanted), events_);
  std::optional<CallFault> end;
  while (!end && !done_ && !stop_.stop_requested()) {
    if (const auto event = events_.Take(stop_, NextStep())) {
      if (const auto* element = std::get_if<Element>(&event->what)) {
        OnElement(event->source, *element);
      } else if (const auto* fault = std::get_if<CallFault>(&event->what)) {
        end = OnEnd(event->source, *fault);
      } else if (event->source == Source::Stream) {
        OnStreamOpen();
      }
    }
    StepHistory();
  }
  return end;
}

void Following::OnStreamOpen() {
  opened_ = lastHistory_ = Steady::now();
  listener_.OnOpen(hasGap_ ? gapBegin_ : Wall::now());
}

void Following::OnElement(Source source, const Element& element) {
  if (element.history) {
    late_.HeardHistory(element.vm);
    lastHistory_ = Steady::now();
  } else if (source == Source::History) {
    return;  // the stream has it
  } else if (hasGap_) {
    late_.HeardLive(element.vm, Steady::now());
  }
  if (seen_.Add(element)) done_ = !listener_.Take(element);
}

std::optional<CallFault> Following::OnEnd(Source source, const CallFault& fault) {
  if (source == Source::Stream || fault.kind == CallFault::Kind::Refused) return fault;
  late_.Return(history_->vms(), Steady::now());
  history_.reset();
  return std::nullopt;
}

void Following::OnInterruption() {
  const auto now = Steady::now();
  if (opened_ && (!hasGap_ || HasAllHistory())) {
    gapBegin_ = std::max(begin_, Wall::now() - std::chrono::duration_cast<Wall::duration>(settings_.slack));
  }
  if (opened_ && now - *opened_ >= settings_.stands) delay_.Reset();
  history_.reset();
  // What it has left there is asked for again.
  events_.Clear();
}

bool Following::HasAllHistory() const {
  return !history_ && !late_.Due() && Steady::now() - lastHistory_ >= settings_.quiet;
}

// When something is to be done even if nothing happens.
Steady::time_point Following::NextStep() const {
  if (history_) return std::min(lastHistory_ + settings_.quiet, historyBegan_ + settings_.longestHistory);
  return late_.Due().value_or(Steady::now() + std::chrono::hours(1));
}

void Following::StepHistory() {
  const auto now = Steady::now();
  if (history_ && now >= NextStep()) {
    history_.reset();
    lastHistory_ = now;
  }
  if (!history_ && late_.Due() && now >= *late_.Due()) BeginHistory();
}

void Following::BeginHistory() {
  auto wanted = wanted_;
  wanted.vms = late_.TakeBatch(Steady::now());
  if (wanted.vms.empty()) return;
  wanted.pastSeconds = GapSeconds();
  historyBegan_ = lastHistory_ = Steady::now();
  history_.emplace(Source::History, caller_, std::move(wanted), events_);
}

}  // namespace

void Follow(const Caller& caller, const Wanted& wanted, const std::stop_token& stop, Listener& listener,
            const FollowSettings& settings) {
  Following(caller, wanted, stop, listener, settings).Run();
}

}  // namespace Fleet

#include "fleet/forward/forwarder.h"

#include <signal.h>
#include <time.h>

#include <algorithm>
#include <system_error>
#include <thread>

#include "platform/corvane/log.h"

namespace Fleet {
namespace {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;
using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr timespec kTick{.tv_sec = 1, .tv_nsec = 0};
constexpr std::chrono::seconds kBetweenLooks{5};
constexpr std::chrono::minutes kBetweenLines{1};

bool StopSignalCame() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  return sigtimedwait(&signals, nullptr, &kTick) > 0;
}

}  // namespace

Forwarder::Start Forwarder::ReadStart(const ForwardOptions& options, const StateFile& file) {
  const auto now = steady_clock::now();
  const auto state = file.Read();
  if (state.found == StateFile::Found::Nothing) {
    const auto past = std::min(std::chrono::seconds(options.wanted.pastSeconds), options.mostGap);
    return {.covered = now - past, .gap = {.pastSeconds = past.count()}};
  }
  if (state.found == StateFile::Found::Garbage) {
    LogInternal(Logger::sDefaultLogger.get(), 4,
                "The state in %1 is none; guests are asked for the longest gap", options.stateFile);
    const auto covered = now - options.mostGap;
    return {.covered = covered, .gap = GapSince(covered, now, options.mostGap)};
  }
  const auto covered = MomentOf(state.storedUntil, system_clock::now(), now, options.mostGap);
  return {.covered = covered, .gap = GapSince(covered, now, options.mostGap)};
}

Forwarder::Forwarder(const ForwardOptions& options)
    : Forwarder(options, ReadStart(options, StateFile(options.stateFile))) {}

Forwarder::Forwarder(const ForwardOptions& options, const Start& start)
    : stateFile_(options.stateFile),
      firstGap_(start.gap),
      queue_({}),
      coverage_(start.covered),
      publisher_(options.nats, options.host),
      sender_(queue_, publisher_, counters_),
      intake_(options.caller, options.wanted,
              {.prefix = options.prefix, .host = options.host, .vmIdType = options.wanted.vmIdType},
              options.mostGap, queue_, coverage_, counters_),
      dropWatch_(options.caller, coverage_, counters_) {
  const auto age = steady_clock::now() - start.covered;
  stateFile_.Write(system_clock::now() - std::chrono::duration_cast<system_clock::duration>(age));
}

void Forwarder::Run() {
  // What was dropped before isn't this subscriber's.
  dropWatch_.Look();
  std::jthread sending([this](const std::stop_token& stop) { sender_.Run(stop); });
  {
    const std::jthread taking([this](const std::stop_token& stop) { TakeFromDaemon(stop); });
    WatchUntilEnd();
  }
  sending.request_stop();
  sending.join();
  KeepState();
  TellCounters();
  if (failed_) std::rethrow_exception(failure_);
}

void Forwarder::TakeFromDaemon(const std::stop_token& stop) {
  try {
    intake_.Run(firstGap_, stop);
  } catch (...) {
    failure_ = std::current_exception();
    failed_ = true;
  }
}

void Forwarder::WatchUntilEnd() {
  auto nextLook = steady_clock::now() + kBetweenLooks;
  auto nextLine = steady_clock::now() + kBetweenLines;
  while (!StopSignalCame() && !failed_) {
    const auto now = steady_clock::now();
    if (now >= nextLook) {
      if (dropWatch_.Look()) intake_.AskAgain();
      nextLook = now + kBetweenLooks;
    }
    if (now >= nextLine) {
      TellCounters();
      nextLine = now + kBetweenLines;
    }
    KeepState();
  }
}

Moment Forwarder::StoredUntil() const {
  // In this order: what comes in between is in the queue and newer than what is covered.
  const auto covered = coverage_.covered();
  return std::min(covered, queue_.Oldest().value_or(covered));
}

void Forwarder::KeepState() {
  const auto storedUntil = StoredUntil();
  if (written_ == storedUntil) return;
  const auto age = steady_clock::now() - storedUntil;
  try {
    stateFile_.Write(system_clock::now() - std::chrono::duration_cast<system_clock::duration>(age));
    written_ = storedUntil;
    stateFails_ = false;
  } catch (const std::system_error& error) {
    if (!std::exchange(stateFails_, true)) {
      LogInternal(Logger::sDefaultLogger.get(), 3, "The state isn't kept: %1", error.what());
    }
  }
}

void Forwarder::TellCounters() {
  const Told now = {counters_.stored,        counters_.duplicates, counters_.unstorable, counters_.retries,
                    counters_.interruptions, counters_.gaps,       counters_.overflows,  counters_.drops};
  if (now == told_) return;
  told_ = now;
  LogInternal(
      Logger::sDefaultLogger.get(), 6,
      "So far: stored %1, of these %2 the stream had already; given up as too large %3; sent once more %4; "
      "interruptions of the daemon's stream %5; gaps asked for %6; full queues %7; dropped by the daemon %8; "
      "waiting now %9",
      now[0], now[1], now[2], now[3], now[4], now[5], now[6], now[7], queue_.fill().items);
}

}  // namespace Fleet

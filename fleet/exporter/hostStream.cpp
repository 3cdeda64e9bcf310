#include "fleet/exporter/hostStream.h"

#include <utility>

#include "fleet/exporter/publicationEvent.h"
#include "fleet/exporter/utf8.h"
#include "fleet/stream/sleepUnlessStopped.h"

namespace Fleet {
namespace {

using Corvane::Service::LogInternal;

constexpr std::chrono::seconds kAfterRefusal{5};
constexpr std::size_t kMostReason = 512;

std::int64_t NowInMilliseconds() {
  return Milliseconds(std::chrono::system_clock::now());
}

}  // namespace

HostStream::HostStream(Caller caller, Wanted wanted, OnElement onElement, Corvane::Service::Logger* log)
    : caller_(std::move(caller)), wanted_(std::move(wanted)), onElement_(std::move(onElement)), log_(log) {
  const Corvane::MutexLock lock(mutex_);
  state_.since = NowInMilliseconds();
  state_.reason = "not yet connected";
}

void HostStream::Run(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    try {
      Follow(caller_, wanted_, stop, *this);
    } catch (const std::exception& fault) {
      Lose(fault.what());
      LogInternal(log_, 3, "the daemon takes no subscription: %1", fault.what());
      SleepUnlessStopped(kAfterRefusal, stop);
    }
  }
}

HostStream::State HostStream::Current() const {
  const Corvane::MutexLock lock(mutex_);
  return state_;
}

bool HostStream::Take(const Element& element) {
  onElement_(element);
  return true;
}

void HostStream::OnInterrupted(const std::string& reason, std::chrono::milliseconds wait) {
  Lose(reason);
  LogInternal(log_, 4, "the stream is interrupted: %1; next try in %2 ms", reason, wait.count());
}

void HostStream::OnOpen(std::chrono::system_clock::time_point /*gapBegin*/) {
  {
    const Corvane::MutexLock lock(mutex_);
    state_.isConnected = true;
    state_.since = NowInMilliseconds();
    state_.reason.clear();
  }
  LogInternal(log_, 6, "the stream of the host's publications is open");
}

void HostStream::Lose(const std::string& reason) {
  const Corvane::MutexLock lock(mutex_);
  if (state_.isConnected) {
    ++state_.interruptions;
    state_.since = NowInMilliseconds();
  }
  state_.isConnected = false;
  state_.reason = ShortText(reason, kMostReason);
}

}  // namespace Fleet

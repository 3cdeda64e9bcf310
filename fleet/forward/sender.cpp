#include "fleet/forward/sender.h"

#include <thread>
#include <utility>

#include "fleet/stream/sleepUnlessStopped.h"
#include "platform/corvane/log.h"

namespace Fleet {
namespace {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;
using std::chrono::milliseconds;

constexpr SendQueue::Fill kLargestBatch{.items = 512, .bytes = 2 << 20};
constexpr milliseconds kIdle{200};
// From one batch to the next unless a full one waits. Each costs several changes of threads.
constexpr milliseconds kGathering{10};
constexpr milliseconds kFirstDelay{100};
constexpr milliseconds kLongestDelay{2000};
constexpr milliseconds kFirstSlowDelay{5000};
constexpr milliseconds kLongestSlowDelay{30'000};

}  // namespace

Sender::Sender(SendQueue& queue, Publisher& publisher, Counters& counters)
    : queue_(queue),
      publisher_(publisher),
      counters_(counters),
      delay_(kFirstDelay, kLongestDelay),
      slowDelay_(kFirstSlowDelay, kLongestSlowDelay) {}

void Sender::Run(const std::stop_token& stop) {
  for (;;) {
    if (batch_.empty()) batch_ = queue_.Take(kLargestBatch, kIdle);
    if (batch_.empty()) {
      if (stop.stop_requested()) return;
      continue;
    }
    TryBatch();
    if (wait_ == milliseconds(0)) {
      const auto waiting = queue_.fill();
      const bool full = waiting.items >= kLargestBatch.items || waiting.bytes >= kLargestBatch.bytes;
      if (!full) std::this_thread::sleep_for(kGathering);
      continue;
    }
    if (stop.stop_requested()) return;
    SleepUnlessStopped(wait_, stop);
  }
}

void Sender::TryBatch() {
  try {
    Settle(publisher_.Publish(batch_));
  } catch (const NatsFault& fault) {
    OnTrouble(fault.what(), fault.status() == NATS_CONNECTION_AUTH_FAILED);
  }
}

void Sender::Settle(const PublishResult& result) {
  std::vector<Outgoing> left;
  SendQueue::Fill done;
  for (std::size_t i = 0; i < batch_.size(); ++i) {
    switch (result.outcomes[i]) {
      case Outcome::Duplicate:
        ++counters_.duplicates;
        [[fallthrough]];
      case Outcome::Stored:
        ++counters_.stored;
        break;
      case Outcome::Unstorable:
        ++counters_.unstorable;
        break;
      case Outcome::Again:
        ++counters_.retries;
        left.push_back(std::move(batch_[i]));
        continue;
    }
    ++done.items;
    done.bytes += batch_[i].Bytes();
  }
  batch_ = std::move(left);
  queue_.Settle(done, batch_.empty() ? std::nullopt : std::optional(batch_.front().received));
  if (batch_.empty()) {
    OnSuccess();
  } else {
    OnTrouble(result.reason, result.forbidden);
  }
}

void Sender::OnTrouble(const std::string& reason, bool forbidden) {
  wait_ = forbidden ? slowDelay_.Next() : delay_.Next();
  // A refusal names one subject of many.
  const auto kind = forbidden ? "forbidden" : reason;
  if (told_ == kind) return;
  told_ = kind;
  LogInternal(Logger::sDefaultLogger.get(), 4, "NATS takes nothing now, and is tried again: %1", reason);
}

void Sender::OnSuccess() {
  wait_ = milliseconds(0);
  delay_.Reset();
  slowDelay_.Reset();
  if (told_.empty()) return;
  told_.clear();
  LogInternal(Logger::sDefaultLogger.get(), 6, "NATS takes publications again");
}

}  // namespace Fleet

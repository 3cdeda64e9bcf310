#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <optional>
#include <stop_token>
#include <variant>

#include "fleet/stream/call.h"
#include "platform/corvane/mutex.h"

namespace Fleet {

struct CallOpen {};

// What has happened to a call that runs on a thread of its own.
struct CallEvent {
  enum class Source { Stream, History };

  Source source = Source::Stream;
  std::variant<CallOpen, Element, CallFault> what;
};

// Brings them to the one thread that deals with them. Whoever is faster than that thread waits for it, and
// so in the end does the daemon.
class CallEvents final {
 public:
  // Drops the event when a stop is asked for.
  void Put(CallEvent event, const std::stop_token& stop);
  // Nothing at the time, or when a stop is asked for.
  std::optional<CallEvent> Take(const std::stop_token& stop, std::chrono::steady_clock::time_point until);
  void Clear();

 private:
  Corvane::Mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<CallEvent> events_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Fleet

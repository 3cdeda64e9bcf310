#pragma once

#include <chrono>
#include <cstddef>
#include <stop_token>
#include <string>

#include "fleet/stream/call.h"

namespace Fleet {

// Who listens to a Follow. All calls come from its thread, one at a time.
class Listener {
 public:
  // Each publication once: copies with the same identity are left out, for as long as it is remembered. False
  // ends the Follow.
  virtual bool Take(const Element& element) = 0;
  // The stream has ended; another try follows after `wait`.
  virtual void OnInterrupted(const std::string& reason, std::chrono::milliseconds wait) = 0;
  // It stands (again). What was published since `gapBegin` is asked of the guests; without a gap it is now.
  virtual void OnOpen(std::chrono::system_clock::time_point gapBegin) = 0;

 protected:
  ~Listener() = default;
};

// How long a Follow waits for what, and how much it keeps.
struct FollowSettings {
  std::chrono::milliseconds firstWait{
      250};  // for the next try; twice as long after each, less some by chance
  std::chrono::milliseconds longestWait{30'000};
  std::chrono::milliseconds stands{10'000};  // after that time the next wait is the first one again
  // What was on its way through the daemon when it ended is older than its end.
  std::chrono::milliseconds slack{10'000};
  std::chrono::milliseconds gathering{5'000};  // of VMs that are to be asked together
  std::chrono::milliseconds quiet{60'000};     // without more history: all of it has come
  std::chrono::milliseconds longestHistory{15 * 60'000};
  std::size_t remembered = 131072;  // publications that the listener has had
};

// Subscribes, and again after each interruption (with backoff and jitter), for as long as nobody stops it.
// After one it asks the guests for what they published in the gap, those too of whom the daemon hears only
// later, and leaves out what the listener has had; `wanted.pastSeconds` is a gap before the start. A VM that
// after a daemon's restart publishes nothing that is wanted isn't asked. Throws CallFault when the daemon
// refuses, and whatever the listener throws.
void Follow(const Caller& caller, const Wanted& wanted, const std::stop_token& stop, Listener& listener,
            const FollowSettings& settings = {});

}  // namespace Fleet

#pragma once

#include <chrono>
#include <stop_token>
#include <string>

#include "fleet/stream/call.h"

namespace Fleet {

// Who listens to a Follow. All calls come from its thread, one at a time.
class Listener {
 public:
  // Each publication once. False ends the Follow.
  virtual bool Take(const Element& element) = 0;
  // The stream has ended; another try follows after `wait`.
  virtual void OnInterrupted(const std::string& reason, std::chrono::milliseconds wait) = 0;
  // It stands (again). What was published since `gapBegin` is asked of the guests; without a gap it is now.
  virtual void OnOpen(std::chrono::system_clock::time_point gapBegin) = 0;

 protected:
  ~Listener() = default;
};

// Subscribes, and again after each interruption (with backoff and jitter), for as long as nobody stops it.
// After one it asks the guests for what they published in the gap, those too of whom the daemon hears only
// later, and leaves out what the listener has had; `wanted.pastSeconds` is a gap before the start. Throws
// CallFault when the daemon refuses.
void Follow(const Caller& caller, const Wanted& wanted, const std::stop_token& stop, Listener& listener);

}  // namespace Fleet

#pragma once

#include <algorithm>
#include <chrono>

namespace GuestAgent {

// When the next publication may leave: never more in any second than the host says that it takes.
class Pace {
 public:
  using Milliseconds = std::chrono::milliseconds;

  // Publications a second. A host that allows none is asked once a second all the same.
  void SetRate(unsigned rate) { interval_ = Milliseconds((1000 + Bounded(rate) - 1) / Bounded(rate)); }
  void Sent(Milliseconds now) { last_ = now; }
  Milliseconds Next() const { return last_ + interval_; }

 private:
  static unsigned Bounded(unsigned rate) { return std::clamp(rate, 1U, 1000U); }

  // What a host allows that hasn't said anything yet.
  Milliseconds interval_{500};
  Milliseconds last_{-1000};
};

}  // namespace GuestAgent

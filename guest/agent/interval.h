#pragma once

#include <chrono>

namespace GuestAgent {

// Something that is done at once and then at intervals. Times are since the VM's start.
class Interval {
 public:
  using Milliseconds = std::chrono::milliseconds;

  explicit Interval(Milliseconds length) : length_(length) {}

  // Does the work if it is due. Gives when it is due next.
  template <typename Work>
  Milliseconds Step(Milliseconds now, Work work) {
    if (now >= due_) {
      due_ = now + length_;
      work();
    }
    return due_;
  }

 private:
  const Milliseconds length_;
  Milliseconds due_{0};
};

}  // namespace GuestAgent

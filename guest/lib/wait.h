#pragma once

#include <chrono>

namespace HesperGuest {

// A moment, or never.
class Deadline {
 public:
  // Milliseconds from now; a negative number means never.
  explicit Deadline(int timeout)
      : isNever_(timeout < 0), moment_(Clock::now() + std::chrono::milliseconds(isNever_ ? 0 : timeout)) {}

  // For poll: what is left, rounded up, or -1.
  int Left() const {
    if (isNever_) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(moment_ - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
  }

 private:
  using Clock = std::chrono::steady_clock;

  bool isNever_;
  Clock::time_point moment_;
};

// Waits for events of poll. Gives 0, or -ETIMEDOUT, or another negative errno.
int Await(int descriptor, short events, const Deadline& deadline);

}  // namespace HesperGuest

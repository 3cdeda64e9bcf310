#pragma once

#include <signal.h>

#include <stop_token>
#include <thread>

namespace Fleet {

// Makes SIGINT and SIGTERM a stop for as long as it lives; a second one ends the process at once. Made before
// other threads, which inherit what is blocked.
class StopSignals final {
 public:
  StopSignals();

  std::stop_token Token() const { return stop_.get_token(); }

 private:
  void Wait(const std::stop_token& ended);

  sigset_t signals_{};
  std::stop_source stop_;
  std::jthread thread_;
};

}  // namespace Fleet

#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "framework/core/log.h"
#include "framework/transport/connection/connectionTable.h"
#include "platform/corvane/mutex.h"

namespace Mirel::Transport {

// Keeps a reserve of descriptors from the connections, so that what the rest of the process opens for a
// moment (devices, key files, probes) always finds one. Usable on any thread.
class Admission {
 public:
  // With a low limit of open files the reserve is a quarter of it.
  Admission(std::size_t reserve, std::shared_ptr<Asio::ConnectionTable> connections,
            std::shared_ptr<Log::Logger> logger);

  // Whether each listener may accept one more connection. Makes room, if needed, by closing connections that
  // have no request to lose.
  bool HasRoom();

 private:
  void LogOnceAMinute(const char* what) CORVANE_REQUIRES(mutex_);

  std::size_t reserve_;
  std::shared_ptr<Asio::ConnectionTable> connections_;
  std::shared_ptr<Log::Logger> logger_;
  Corvane::Mutex mutex_;
  // Invariants:
  // 1. uncounted_ connections may come before descriptors are counted again. They take a quarter at most of
  //    what the last count found above the reserve, and are few, as others open descriptors and limits
  //    change.
  // 2. Nothing is logged before quietUntil_, which is a minute after the last line.
  std::size_t uncounted_ CORVANE_GUARDED_BY(mutex_) = 0;
  std::chrono::steady_clock::time_point quietUntil_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Mirel::Transport

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

  // Whether one more connection may be accepted on each listener. Closes connections that have no request to
  // lose where that makes room.
  bool HasRoom();

 private:
  void Tell(const char* what) CORVANE_REQUIRES(mutex_);

  std::size_t reserve_;
  std::shared_ptr<Asio::ConnectionTable> connections_;
  std::shared_ptr<Log::Logger> logger_;
  Corvane::Mutex mutex_;
  // How many may come before it is counted again; few, as others take descriptors too and limits change.
  std::size_t uncounted_ CORVANE_GUARDED_BY(mutex_) = 0;
  // When a line about it may be written again.
  std::chrono::steady_clock::time_point quietUntil_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Mirel::Transport

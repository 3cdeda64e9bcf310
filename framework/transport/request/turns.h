#pragma once

#include <deque>
#include <functional>
#include <memory>

#include "framework/transport/connection/ioTypes.h"
#include "platform/corvane/mutex.h"

namespace Mirel::Transport::Http {

// Runs long jobs one after the other. Each step is a handler of its own, so that all else that waits in the
// I/O context runs between two steps. Usable on any thread.
class Turns final : public std::enable_shared_from_this<Turns> {
 public:
  // Does its next step, and gives true when another one follows.
  using Job = std::function<bool()>;

  explicit Turns(Asio::Executor executor) : executor_(std::move(executor)) {}

  void Enqueue(Job job);

 private:
  void PostStep() CORVANE_REQUIRES(mutex_);
  void RunStep(Job job);

  Asio::Executor executor_;
  // Invariants, while nobody holds the lock:
  // 1. running_ says whether a step is posted or runs, of which there is one at most.
  // 2. No job waits unless running_ is set.
  Corvane::Mutex mutex_;
  std::deque<Job> waiting_ CORVANE_GUARDED_BY(mutex_);
  bool running_ CORVANE_GUARDED_BY(mutex_) = false;
};

}  // namespace Mirel::Transport::Http

#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "framework/transport/ioTypes.h"

namespace Mirel::Transport::Http {

// Runs long jobs one at a time, each as a handler of its own, and lets all that waits in the I/O context go
// between two of them. Usable on any thread.
class Turns : public std::enable_shared_from_this<Turns> {
 public:
  using Job = std::function<void()>;

  explicit Turns(Asio::Executor executor) : executor_(std::move(executor)) {}

  void Enqueue(Job job);

 private:
  void RunOne();
  void PostOne();

  Asio::Executor executor_;
  std::mutex mutex_;
  std::deque<Job> waiting_;
  bool running_ = false;
};

}  // namespace Mirel::Transport::Http

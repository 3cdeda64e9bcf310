#include "framework/transport/request/turns.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace Mirel::Transport::Http {

void Turns::Enqueue(Job job) {
  const Corvane::MutexLock lock(mutex_);
  waiting_.push_back(std::move(job));
  if (!std::exchange(running_, true)) PostStep();
}

void Turns::PostStep() {
  auto job = std::move(waiting_.front());
  waiting_.pop_front();
  boost::asio::post(executor_, [self = shared_from_this(), job = std::move(job)]() mutable {
    self->RunStep(std::move(job));
  });
}

void Turns::RunStep(Job job) {
  const bool goesOn = job();
  const Corvane::MutexLock lock(mutex_);
  // A job that has begun is finished first, so that only one half-done result is in memory.
  if (goesOn) waiting_.push_front(std::move(job));
  running_ = !waiting_.empty();
  if (running_) PostStep();
}

}  // namespace Mirel::Transport::Http

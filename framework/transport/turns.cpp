#include "framework/transport/turns.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace Mirel::Transport::Http {

void Turns::Enqueue(Job job) {
  const std::lock_guard lock(mutex_);
  waiting_.push_back(std::move(job));
  if (!std::exchange(running_, true)) PostOne();
}

void Turns::PostOne() {
  boost::asio::post(executor_, [self = shared_from_this()] { self->RunOne(); });
}

void Turns::RunOne() {
  Job job;
  {
    const std::lock_guard lock(mutex_);
    job = std::move(waiting_.front());
    waiting_.pop_front();
  }
  job();
  const std::lock_guard lock(mutex_);
  running_ = !waiting_.empty();
  if (running_) PostOne();
}

}  // namespace Mirel::Transport::Http

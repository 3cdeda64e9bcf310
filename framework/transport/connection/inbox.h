#pragma once

#include <boost/asio/execution_context.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "platform/corvane/mutex.h"

namespace Mirel::Asio {

// What other threads give an I/O context to do, and what that puts off. Jobs that are there together are one
// handler of the context and wake its thread once, outside of every lock: asio's own post holds the lock
// that the woken thread needs first. Once a job was posted, the context's run() doesn't end by itself. May be
// used by any thread.
class Inbox final : public boost::asio::execution_context::service {
 public:
  using Job = std::function<void()>;

  // More of them wait for the next batch, so that what they have put off, and other handlers, come in
  // between.
  static constexpr std::size_t kMostJobs = 16;

  static Inbox& Of(boost::asio::io_context& context);
  // Throws boost::system::system_error without a free descriptor.
  explicit Inbox(boost::asio::execution_context& context);

  // Runs the job on the context, never inside the call; jobs run in the order of posting.
  void Post(Job job);
  // Runs the job behind those of the batch that is under way, or else as a handler of the context.
  void PutOff(Job job);

  struct Counts {
    std::size_t waiting = 0;                   // posted and not begun
    std::chrono::microseconds longestWait{0};  // of a job that has begun, since the start
  };
  Counts GetCounts();

  static boost::asio::execution_context::id id;

 private:
  using Clock = std::chrono::steady_clock;
  using Jobs = std::vector<Job>;
  struct Posted {
    Job job;
    Clock::time_point since;
  };

  void Await();
  void Run();
  Jobs Begin();
  Jobs TakePutOff();
  void shutdown() override;

  boost::asio::io_context& context_;
  boost::asio::posix::stream_descriptor wake_;  // an eventfd
  std::uint64_t wakes_ = 0;
  Corvane::Mutex mutex_;
  std::deque<Posted> posted_ CORVANE_GUARDED_BY(mutex_);
  Jobs putOff_ CORVANE_GUARDED_BY(mutex_);
  Clock::duration longestWait_ CORVANE_GUARDED_BY(mutex_){0};
  bool isAwaited_ CORVANE_GUARDED_BY(mutex_) = false;
  bool isUnderWay_ CORVANE_GUARDED_BY(mutex_) = false;
};

}  // namespace Mirel::Asio

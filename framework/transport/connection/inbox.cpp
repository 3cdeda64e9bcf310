#include "framework/transport/connection/inbox.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/defer.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>
#include <utility>

namespace Mirel::Asio {
namespace {

int MakeEvent() {
  const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (descriptor < 0) throw boost::system::system_error(errno, boost::system::system_category(), "eventfd");
  return descriptor;
}

}  // namespace

boost::asio::execution_context::id Inbox::id;

Inbox& Inbox::Of(boost::asio::io_context& context) {
  return boost::asio::use_service<Inbox>(context);
}

Inbox::Inbox(boost::asio::execution_context& context)
    : service(context),
      context_(static_cast<boost::asio::io_context&>(context)),
      wake_(context_, MakeEvent()) {}

void Inbox::Post(Job job) {
  const auto now = Clock::now();
  {
    const Corvane::MutexLock lock(mutex_);
    posted_.push_back({std::move(job), now});
    if (posted_.size() > 1) return;
    if (!std::exchange(isAwaited_, true)) Await();
  }
  eventfd_write(wake_.native_handle(), 1);
}

void Inbox::PutOff(Job job) {
  const Corvane::MutexLock lock(mutex_);
  if (isUnderWay_) {
    putOff_.push_back(std::move(job));
  } else {
    boost::asio::defer(context_, std::move(job));
  }
}

void Inbox::Await() {
  wake_.async_read_some(boost::asio::buffer(&wakes_, sizeof wakes_),
                        [this](const boost::system::error_code& error, std::size_t) {
                          if (!error) Run();
                        });
}

void Inbox::Run() {
  for (const auto& job : Begin()) job();
  for (const auto& job : TakePutOff()) job();
  const Corvane::MutexLock lock(mutex_);
  if (posted_.empty()) {
    Await();
  } else {
    boost::asio::post(context_, [this] { Run(); });
  }
}

Inbox::Jobs Inbox::Begin() {
  Jobs jobs;
  jobs.reserve(kMostJobs);
  const auto now = Clock::now();
  const Corvane::MutexLock lock(mutex_);
  isUnderWay_ = true;
  if (!posted_.empty()) longestWait_ = std::max(longestWait_, now - posted_.front().since);
  const auto end = posted_.begin() + static_cast<std::ptrdiff_t>(std::min(posted_.size(), kMostJobs));
  for (auto post = posted_.begin(); post != end; ++post) jobs.push_back(std::move(post->job));
  posted_.erase(posted_.begin(), end);
  return jobs;
}

Inbox::Counts Inbox::GetCounts() {
  const Corvane::MutexLock lock(mutex_);
  return {posted_.size(), std::chrono::duration_cast<std::chrono::microseconds>(longestWait_)};
}

Inbox::Jobs Inbox::TakePutOff() {
  const Corvane::MutexLock lock(mutex_);
  isUnderWay_ = false;
  return std::exchange(putOff_, {});
}

void Inbox::shutdown() {
  std::deque<Posted> posted;
  Jobs putOff;
  const Corvane::MutexLock lock(mutex_);
  posted.swap(posted_);
  putOff.swap(putOff_);
}

}  // namespace Mirel::Asio

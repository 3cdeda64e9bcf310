#include "framework/transport/connection/admission.h"

#include <sys/resource.h>

#include <algorithm>
#include <utility>

#include "framework/transport/connection/descriptorsLeft.h"
#include "framework/transport/connection/requestLog.h"

namespace Mirel::Transport {
namespace {

constexpr std::size_t kListeners = 2;
constexpr std::size_t kMostUncounted = 16;
constexpr auto kQuiet = std::chrono::minutes(1);

std::size_t QuarterOfLimit() {
  rlimit limit{};
  return ::getrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur / 4 : 0;
}

}  // namespace

Admission::Admission(std::size_t reserve, std::shared_ptr<Asio::ConnectionTable> connections,
                     std::shared_ptr<Log::Logger> logger)
    : reserve_(reserve), connections_(std::move(connections)), logger_(std::move(logger)) {}

bool Admission::HasRoom() {
  if (reserve_ == 0) return true;
  const Corvane::MutexLock lock(mutex_);
  if (uncounted_ > 0) {
    --uncounted_;
    return true;
  }
  const auto least = std::min(reserve_, QuarterOfLimit()) + kListeners;
  auto left = Asio::DescriptorsLeft();
  for (; left < least; left = Asio::DescriptorsLeft()) {
    if (!connections_->CloseOne()) {
      LogOnceAMinute("Few descriptors left, and all connections serve: accepting pauses");
      return false;
    }
    LogOnceAMinute("Few descriptors left: connections without a request are closed, the oldest first");
  }
  uncounted_ = std::min((left - least) / 4, kMostUncounted);
  return true;
}

void Admission::LogOnceAMinute(const char* what) {
  const auto now = std::chrono::steady_clock::now();
  // A flood that goes on is one line a minute.
  if (now < quietUntil_) return;
  quietUntil_ = now + kQuiet;
  Log::Write(logger_, kAdmission, what);
}

}  // namespace Mirel::Transport

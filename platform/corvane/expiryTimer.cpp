#include "platform/corvane/expiryTimer.h"

#include <algorithm>
#include <chrono>

#include "platform/corvane/system.h"
#include "platform/corvane/thread.h"

namespace Corvane {
namespace {

// Far below what overflows a wait; the thread then looks again.
constexpr std::int64_t kLongestWait = 3'600'000'000;

class ProcessTimer {
 public:
  ProcessTimer() { (*timer_)->Start(); }
  ProcessTimer(const ProcessTimer&) = delete;
  ProcessTimer& operator=(const ProcessTimer&) = delete;
  ~ProcessTimer() { (*timer_)->Stop(); }

  const Ref<ExpiryTimer>& Get() const { return *timer_; }

 private:
  // Kept to the very end of the process: sessions may outlive all static objects.
  const Ref<ExpiryTimer>* const timer_ = new Ref(MakeRef<ExpiryTimer>(&System::GetMonotonicTime));
};

}  // namespace

const Ref<ExpiryTimer>& ExpiryTimer::OfProcess() {
  static const ProcessTimer timer;
  return timer.Get();
}

ExpiryTimer::ExpiryTimer(Clock clock) : clock_(std::move(clock)) {}

ExpiryTimer::~ExpiryTimer() {
  Stop();
}

void ExpiryTimer::Move(const std::shared_ptr<Client>& client, std::int64_t from, std::int64_t to) {
  const MutexLock lock(mutex_);
  auto entry = queue_.extract({from, client});
  if (to == kNever) return;
  if (entry) {
    entry.value().first = to;
    queue_.insert(std::move(entry));
  } else {
    queue_.emplace(to, client);
  }
  if (queue_.begin()->second == client) changed_.notify_one();
}

void ExpiryTimer::TellDue() {
  const auto next = [this] {
    const MutexLock lock(mutex_);
    return TakeDue();
  };
  while (const auto client = next()) client->OnTime(Now());
}

std::shared_ptr<ExpiryTimer::Client> ExpiryTimer::TakeDue() {
  if (queue_.empty() || queue_.begin()->first > Now()) return nullptr;
  return std::move(queue_.extract(queue_.begin()).value().second);
}

std::shared_ptr<ExpiryTimer::Client> ExpiryTimer::WaitForDue() {
  MutexLock lock(mutex_);
  while (!stopping_) {
    if (auto client = TakeDue()) return client;
    if (queue_.empty()) {
      changed_.wait(lock.Native());
    } else {
      const std::int64_t wait = std::min(queue_.begin()->first - Now(), kLongestWait);
      changed_.wait_for(lock.Native(), std::chrono::microseconds(wait));
    }
  }
  return nullptr;
}

void ExpiryTimer::Start() {
  const MutexLock lock(mutex_);
  if (!thread_ && !stopping_) {
    thread_ = MakeRef<System::Thread>(
        "sessionTimer", [this] { Run(); }, 0);
  }
}

void ExpiryTimer::Stop() {
  Ref<System::Thread> thread;
  {
    const MutexLock lock(mutex_);
    stopping_ = true;
    std::swap(thread, thread_);
    changed_.notify_one();
  }
  if (thread) thread->Join();
}

void ExpiryTimer::Run() {
  // A client may go at the end of its turn, with all that hangs on it, and no lock is held then.
  while (const auto client = WaitForDue()) client->OnTime(Now());
}

}  // namespace Corvane

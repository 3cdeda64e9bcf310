#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <set>
#include <utility>

#include "platform/corvane/mutex.h"
#include "platform/corvane/object.h"

namespace Corvane {

namespace System {
class Thread;
}

// Tells its clients when a moment has come. It costs nothing while no client's moment is near: clients that
// are used again and again need not move theirs each time, but look when they are called whether it has
// really come, and ask for a later one. Safe from any thread.
class ExpiryTimer : public ObjectImpl {
 public:
  // Microseconds that never go back.
  using Clock = std::function<std::int64_t()>;
  static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

  class Client {
   public:
    virtual ~Client() = default;
    // The moment asked for has come; the client is called once. On the timer's thread, with no lock held.
    // Must not throw.
    virtual void OnTime(std::int64_t now) = 0;
  };

  // The timer of the process. The first call starts its thread, which ends before the process's static
  // objects go; for later moments nobody is called then. Throws Corvane::Exception when there is no thread to
  // be had.
  static const Ref<ExpiryTimer>& OfProcess();

  // A timer without a thread: its clients are called from within TellDue.
  explicit ExpiryTimer(Clock clock);
  ~ExpiryTimer() override;

  std::int64_t Now() const { return clock_(); }
  // Moves what the client has asked for, from one moment to another; kNever is none. The timer holds a
  // reference to the client for as long as it has a moment.
  void Move(const std::shared_ptr<Client>& client, std::int64_t from, std::int64_t to);
  // Tells all clients whose moment has come.
  void TellDue();

  // Starts the thread, and ends it; it is not started again after that.
  void Start();
  void Stop();

 private:
  using Entry = std::pair<std::int64_t, std::shared_ptr<Client>>;

  // Take the client whose moment came first out of the queue. Null when none has come; the second one waits
  // for it, and gives null when the timer stops.
  std::shared_ptr<Client> TakeDue() CORVANE_REQUIRES(mutex_);
  std::shared_ptr<Client> WaitForDue();
  void Run();

  const Clock clock_;
  Mutex mutex_;
  std::condition_variable changed_;
  std::set<Entry> queue_ CORVANE_GUARDED_BY(mutex_);
  bool stopping_ CORVANE_GUARDED_BY(mutex_) = false;
  Ref<System::Thread> thread_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Corvane

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>

#include "fleet/stream/follower.h"
#include "platform/corvane/log.h"
#include "platform/corvane/mutex.h"

namespace Fleet {

// The subscription to all publications of the host, for as long as the process runs: also a refused one is
// tried again, as its token may have been renewed.
class HostStream final : private Listener {
 public:
  struct State {
    bool isConnected = false;
    std::int64_t since = 0;  // milliseconds since 1970
    std::uint64_t interruptions = 0;
    std::string reason = {};  // of being not connected; UTF-8
  };
  // On the thread of Run.
  using OnElement = std::function<void(const Element&)>;

  HostStream(Caller caller, Wanted wanted, OnElement onElement, Corvane::Service::Logger* log);

  void Run(const std::stop_token& stop);
  State Current() const;  // from any thread

 private:
  bool Take(const Element& element) override;
  void OnInterrupted(const std::string& reason, std::chrono::milliseconds wait) override;
  void OnOpen(std::chrono::system_clock::time_point gapBegin) override;
  void Lose(const std::string& reason);

  const Caller caller_;
  const Wanted wanted_;
  const OnElement onElement_;
  Corvane::Service::Logger* const log_;
  mutable Corvane::Mutex mutex_;
  State state_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Fleet

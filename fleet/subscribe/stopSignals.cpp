#include "fleet/subscribe/stopSignals.h"

#include <ctime>

namespace Fleet {

StopSignals::StopSignals() {
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGINT);
  sigaddset(&signals_, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  thread_ = std::jthread([this](const std::stop_token& ended) { Wait(ended); });
}

void StopSignals::Wait(const std::stop_token& ended) {
  constexpr timespec kPause{0, 50'000'000};
  while (!ended.stop_requested()) {
    if (sigtimedwait(&signals_, nullptr, &kPause) < 0) continue;
    pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr);
    stop_.request_stop();
    while (!ended.stop_requested()) nanosleep(&kPause, nullptr);
  }
}

}  // namespace Fleet

#include "tests/corvane/interruption.h"

#include <pthread.h>

namespace {

thread_local Interruption* tInterruption = nullptr;

}  // namespace

Interruption::Interruption(int gap, std::function<void()> deed) : gap_(gap), deed_(std::move(deed)) {
  tInterruption = this;
}

Interruption::~Interruption() {
  tInterruption = nullptr;
}

void Interruption::BeforeLock() {
  if (held_ == 0) ComeToGap();
}

void Interruption::AfterUnlock() {
  if (--held_ == 0) ComeToGap();
}

void Interruption::ComeToGap() {
  if (gap_-- == 0) {
    tInterruption = nullptr;
    deed_();
  }
}

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  if (tInterruption) tInterruption->BeforeLock();
  const int result = __real_pthread_mutex_lock(mutex);
  if (tInterruption) tInterruption->AfterLock();
  return result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
  const int result = __real_pthread_mutex_unlock(mutex);
  if (tInterruption) tInterruption->AfterUnlock();
  return result;
}

}  // extern "C"

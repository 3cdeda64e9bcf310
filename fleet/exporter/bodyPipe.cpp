#include "fleet/exporter/bodyPipe.h"

#include <algorithm>
#include <utility>

namespace Fleet {

bool BodyPipe::Write(std::string_view bytes) {
  const Corvane::MutexLock lock(mutex_);
  if (ended_ || waiting_.size() + bytes.size() > most_) return false;
  waiting_.append(bytes);
  Wake();
  return true;
}

void BodyPipe::End() {
  const Corvane::MutexLock lock(mutex_);
  ended_ = true;
  Wake();
}

bool BodyPipe::HasEnded() const {
  const Corvane::MutexLock lock(mutex_);
  return ended_;
}

long BodyPipe::Read(char* bytes, std::size_t room, const std::function<void()>& sleep,
                    std::function<void()> wake) {
  // Held while the connection is put to sleep, so that no Write falls in between and wakes nobody.
  const Corvane::MutexLock lock(mutex_);
  const auto size = std::min(room, waiting_.size());
  waiting_.copy(bytes, size);
  waiting_.erase(0, size);
  if (size != 0) return static_cast<long>(size);
  if (ended_) return -1;
  wake_ = std::move(wake);
  sleep();
  return 0;
}

void BodyPipe::Wake() {
  if (const auto wake = std::exchange(wake_, nullptr)) wake();
}

}  // namespace Fleet

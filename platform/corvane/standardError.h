#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "platform/corvane/mutex.h"

namespace Corvane::Service {

// The process's standard error, for lines that nobody has to read: a pipe or socket that is full, or whose
// reader has gone, loses lines instead of holding up whoever writes. How many were lost is said in a line of
// its own as soon as there's room again. A line is written whole or not at all. Safe from any thread.
//
// Descriptor 2 may be shared with other processes, so its own mode stays as it is.
class StandardError {
 public:
  static StandardError& Get();

  // The line ends in a line feed. `prefix` goes in front of a line about lost ones.
  void Write(std::string_view line, std::string_view prefix = {});

 private:
  StandardError() = default;

  void LookAtDescriptor() CORVANE_REQUIRES(mutex_);
  // How many bytes were taken.
  std::size_t WriteNow(std::string_view bytes) const CORVANE_REQUIRES(mutex_);
  bool WriteRest() CORVANE_REQUIRES(mutex_);

  Corvane::Mutex mutex_;
  // What descriptor 2 was at the last look; it may be set anew.
  dev_t device_ CORVANE_GUARDED_BY(mutex_) = 0;
  ino_t inode_ CORVANE_GUARDED_BY(mutex_) = 0;
  bool isSocket_ CORVANE_GUARDED_BY(mutex_) = false;
  // A write to descriptor_ waits for a reader when there's no room.
  bool mayWait_ CORVANE_GUARDED_BY(mutex_) = false;
  // Where to write: descriptor 2, or the same pipe in a mode that doesn't wait.
  int descriptor_ CORVANE_GUARDED_BY(mutex_) = -1;
  // Of a line that was taken in part.
  std::string rest_ CORVANE_GUARDED_BY(mutex_);
  std::uint64_t lost_ CORVANE_GUARDED_BY(mutex_) = 0;
};

}  // namespace Corvane::Service

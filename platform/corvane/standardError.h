#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace Corvane::Service {

// The process's standard error, for lines that nobody has to read: a pipe or socket that is full, or whose
// reader has gone, loses lines instead of holding up whoever writes. How many were lost is told in a line of
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

  void LookAtDescriptor();
  // How many bytes were taken.
  std::size_t WriteNow(std::string_view bytes) const;
  bool WriteRest();

  std::mutex mutex_;
  // What descriptor 2 was at the last look; it may be set anew.
  dev_t device_ = 0;
  ino_t inode_ = 0;
  bool isSocket_ = false;
  // A write to descriptor_ waits for a reader when there's no room.
  bool mayWait_ = false;
  // Where to write: descriptor 2, or the same pipe in a mode that doesn't wait.
  int descriptor_ = -1;
  // Of a line that was taken in part.
  std::string rest_;
  std::uint64_t lost_ = 0;
};

}  // namespace Corvane::Service

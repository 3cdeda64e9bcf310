#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/corvane/mutex.h"

namespace Tessaly::Audit {

// A file that only grows, by whole lines: what an interrupted writer has left of a line is closed with a line
// feed first. It is made with its folder if they are missing, for the owner alone, and opened anew whenever
// its path leads to another file, so that it can be rotated by a rename. While that fails, as without free
// descriptors, the renamed file goes on to take the lines. From any thread.
class AuditFile {
 public:
  explicit AuditFile(std::string path) : path_(std::move(path)) {}
  AuditFile(const AuditFile&) = delete;
  AuditFile& operator=(const AuditFile&) = delete;
  ~AuditFile();

  // Opens the file now instead of at the first line, while descriptors are to be had. Gives false, and logs
  // it, when that fails; it's tried again at each line.
  bool Open();
  // Appends the line, which ends with a line feed, with one write. Gives false when it is lost; the first
  // loss and the end of a row of losses are logged.
  bool Append(std::string_view line);
  // How many lines were lost in all.
  std::uint64_t Lost() const;

 private:
  bool EnsureOpen() CORVANE_REQUIRES(mutex_);
  bool LeadsToOpenFile() const CORVANE_REQUIRES(mutex_);
  bool OpenAnew() CORVANE_REQUIRES(mutex_);
  // Gives true, and logs it once, when the open file, renamed but not removed, has to do.
  bool KeepOutdated(int error) CORVANE_REQUIRES(mutex_);
  bool Write(std::string_view line) CORVANE_REQUIRES(mutex_);
  void Close() CORVANE_REQUIRES(mutex_);
  void NoteLoss(const char* action, int error) CORVANE_REQUIRES(mutex_);
  void NoteSuccess() CORVANE_REQUIRES(mutex_);

  const std::string path_;
  mutable Corvane::Mutex mutex_;
  int descriptor_ CORVANE_GUARDED_BY(mutex_) = -1;
  // The file ends within a line, as after a write that was cut short.
  bool endsWithinLine_ CORVANE_GUARDED_BY(mutex_) = false;
  // It's not what the path leads to any more, which can't be opened.
  bool isOutdated_ CORVANE_GUARDED_BY(mutex_) = false;
  std::uint64_t lost_ CORVANE_GUARDED_BY(mutex_) = 0;  // in a row, up to now
  std::uint64_t lostInAll_ CORVANE_GUARDED_BY(mutex_) = 0;
};

}  // namespace Tessaly::Audit

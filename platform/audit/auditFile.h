#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace Tessaly::Audit {

// A file that only grows, by whole lines. It is opened at the first line, made with its folder if they are
// missing, for the owner alone, and opened anew whenever its path leads to another file, so that it can be
// rotated by a rename. From any thread.
class AuditFile {
 public:
  explicit AuditFile(std::string path) : path_(std::move(path)) {}
  AuditFile(const AuditFile&) = delete;
  AuditFile& operator=(const AuditFile&) = delete;
  ~AuditFile();

  // Appends the line, which ends with a line feed, with one write. Gives false when it is lost; the first
  // loss and the end of a row of losses are logged.
  bool Append(std::string_view line);

 private:
  bool EnsureOpen();
  bool Write(std::string_view line);
  void Close();
  void NoteLoss(const char* action, int error);
  void NoteSuccess();

  const std::string path_;
  std::mutex mutex_;
  int descriptor_ = -1;
  // A write was cut short, so that the file ends within a line.
  bool endsWithinLine_ = false;
  std::uint64_t lost_ = 0;
};

}  // namespace Tessaly::Audit

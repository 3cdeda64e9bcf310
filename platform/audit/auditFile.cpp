#include "platform/audit/auditFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/corvane/log.h"

namespace Tessaly::Audit {
namespace {

constexpr int kFaultLevel = 3;
constexpr int kLifeLevel = 6;

template <typename... Args>
void Log(int level, const char* format, const Args&... args) {
  Corvane::Service::LogInternal(Corvane::Service::Logger::sDefaultLogger.get(), level, format, args...);
}

void MakeFolder(const std::filesystem::path& folder) {
  std::error_code ignored;
  std::filesystem::create_directories(folder.parent_path(), ignored);
  // Whether it worked shows when the file is opened.
  ::mkdir(folder.c_str(), S_IRWXU);
}

}  // namespace

AuditFile::~AuditFile() {
  Close();
}

bool AuditFile::Append(std::string_view line) {
  const std::lock_guard lock(mutex_);
  if (!EnsureOpen() || !Write(line)) {
    ++lost_;
    return false;
  }
  NoteSuccess();
  return true;
}

bool AuditFile::EnsureOpen() {
  struct stat atPath {};
  struct stat open {};
  const bool same = descriptor_ >= 0 && ::stat(path_.c_str(), &atPath) == 0 &&
                    ::fstat(descriptor_, &open) == 0 && atPath.st_dev == open.st_dev &&
                    atPath.st_ino == open.st_ino;
  if (same) return true;
  Close();
  // Without waiting, should someone have put a pipe there.
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  descriptor_ = ::open(path_.c_str(), kFlags, S_IRUSR | S_IWUSR);
  if (descriptor_ < 0 && errno == ENOENT) {
    MakeFolder(std::filesystem::path(path_).parent_path());
    descriptor_ = ::open(path_.c_str(), kFlags, S_IRUSR | S_IWUSR);
  }
  if (descriptor_ < 0) NoteLoss("open", errno);
  endsWithinLine_ = false;
  return descriptor_ >= 0;
}

bool AuditFile::Write(std::string_view line) {
  std::string whole;
  if (endsWithinLine_) {
    whole.append(1, '\n').append(line);
    line = whole;
  }
  ssize_t written = 0;
  do {
    written = ::write(descriptor_, line.data(), line.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0) {
    NoteLoss("write to", errno);
    return false;
  }
  const bool complete = static_cast<std::size_t>(written) == line.size();
  if (written > 0) endsWithinLine_ = !complete;
  if (!complete) NoteLoss("write a whole record to", ENOSPC);
  return complete;
}

void AuditFile::Close() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

void AuditFile::NoteLoss(const char* action, int error) {
  if (lost_ > 0) return;
  Log(kFaultLevel, "Audit records are lost: cannot %1 %2: %3", action, path_, strerror(error));
}

void AuditFile::NoteSuccess() {
  if (lost_ == 0) return;
  Log(kLifeLevel, "Audit records are written again, %1 were lost", lost_);
  lost_ = 0;
}

}  // namespace Tessaly::Audit

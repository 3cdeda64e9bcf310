#include "platform/audit/auditFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/corvane/log.h"

namespace Tessaly::Audit {
namespace {

constexpr int kFaultLevel = 3;
constexpr int kLifeLevel = 6;

template <typename... Args>
void Log(int level, const char* format, const Args&... args) {
  Corvane::Service::LogInternal(Corvane::Service::Logger::sDefaultLogger.get(), level, format, args...);
}

int OpenToAppend(const std::string& path) {
  // To be read for its last byte; and without waiting, should someone have put a pipe there.
  constexpr int kFlags = O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  return ::open(path.c_str(), kFlags, S_IRUSR | S_IWUSR);
}

void MakeFolder(const std::filesystem::path& folder) {
  std::error_code ignored;
  std::filesystem::create_directories(folder.parent_path(), ignored);
  // Whether it worked shows when the file is opened.
  ::mkdir(folder.c_str(), S_IRWXU);
}

// Gives -1 and sets errno when that fails, as for a pipe: it would keep records until it is full.
int OpenOrMake(const std::string& path) {
  int descriptor = OpenToAppend(path);
  if (descriptor < 0 && errno == ENOENT) {
    MakeFolder(std::filesystem::path(path).parent_path());
    descriptor = OpenToAppend(path);
  }
  struct stat status {};
  if (descriptor < 0 || ::fstat(descriptor, &status) != 0 || !S_ISFIFO(status.st_mode)) return descriptor;
  ::close(descriptor);
  errno = ENXIO;
  return -1;
}

bool IsRemoved(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) != 0 || status.st_nlink == 0;
}

bool EndsWithinLine(int descriptor) {
  struct stat status {};
  char last = '\n';
  return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
         ::pread(descriptor, &last, 1, status.st_size - 1) == 1 && last != '\n';
}

}  // namespace

AuditFile::~AuditFile() {
  Close();
}

bool AuditFile::Append(std::string_view line) {
  const Corvane::MutexLock lock(mutex_);
  if (!EnsureOpen() || !Write(line)) {
    ++lost_;
    ++lostInAll_;
    return false;
  }
  NoteSuccess();
  return true;
}

std::uint64_t AuditFile::Lost() const {
  const Corvane::MutexLock lock(mutex_);
  return lostInAll_;
}

bool AuditFile::Open() {
  const Corvane::MutexLock lock(mutex_);
  return EnsureOpen();
}

bool AuditFile::EnsureOpen() {
  if (LeadsToOpenFile() || OpenAnew()) return true;
  NoteLoss("open", errno);
  return false;
}

bool AuditFile::LeadsToOpenFile() const {
  struct stat atPath {};
  struct stat open {};
  return descriptor_ >= 0 && ::stat(path_.c_str(), &atPath) == 0 && ::fstat(descriptor_, &open) == 0 &&
         atPath.st_dev == open.st_dev && atPath.st_ino == open.st_ino;
}

bool AuditFile::OpenAnew() {
  const int fresh = OpenOrMake(path_);
  if (fresh < 0) return KeepOutdated(errno);
  Close();
  descriptor_ = fresh;
  endsWithinLine_ = EndsWithinLine(fresh);
  isOutdated_ = false;
  return true;
}

bool AuditFile::KeepOutdated(int error) {
  const bool isOfUse = descriptor_ >= 0 && !IsRemoved(descriptor_);
  if (isOfUse && !std::exchange(isOutdated_, true)) {
    Log(kFaultLevel, "Audit records go on to the file that was renamed: cannot open %1: %2", path_,
        strerror(error));
  }
  errno = error;
  return isOfUse;
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

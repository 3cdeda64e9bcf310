#include "platform/corvane/standardError.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

#include "platform/corvane/format.h"

namespace Corvane::Service {
namespace {

// As much as there's room for. A pipe that is ready has room for PIPE_BUF bytes, and waits for more.
std::size_t WriteWhileReady(std::string_view bytes) {
  std::size_t done = 0;
  pollfd error{STDERR_FILENO, POLLOUT, 0};
  while (done < bytes.size() && ::poll(&error, 1, 0) > 0) {
    const auto piece = bytes.substr(done, PIPE_BUF);
    const auto taken = ::write(STDERR_FILENO, piece.data(), piece.size());
    if (taken <= 0) break;
    done += static_cast<std::size_t>(taken);
  }
  return done;
}

}  // namespace

StandardError& StandardError::Get() {
  // Never destroyed: lines are written to the very end.
  static auto* const instance = new StandardError;
  return *instance;
}

void StandardError::Write(std::string_view line, std::string_view prefix) {
  const Corvane::MutexLock lock(mutex_);
  LookAtDescriptor();
  if (!WriteRest()) {
    ++lost_;
    return;
  }
  std::string whole;
  if (lost_ > 0) {
    whole = Detail::ASPrintInternal("%1%2 lines were lost, as standard error could not be written\n", prefix,
                                    lost_);
  }
  whole += line;
  const auto taken = WriteNow(whole);
  if (taken == 0) {
    ++lost_;
    return;
  }
  lost_ = 0;
  rest_ = whole.substr(taken);
}

bool StandardError::WriteRest() {
  if (!rest_.empty()) rest_.erase(0, WriteNow(rest_));
  return rest_.empty();
}

void StandardError::LookAtDescriptor() {
  struct stat status {};
  if (::fstat(STDERR_FILENO, &status) != 0) status = {};
  if (descriptor_ >= 0 && status.st_dev == device_ && status.st_ino == inode_) return;
  if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
  device_ = status.st_dev;
  inode_ = status.st_ino;
  isSocket_ = S_ISSOCK(status.st_mode);
  mayWait_ = S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode);
  rest_.clear();
  descriptor_ = -1;
  if (mayWait_) descriptor_ = ::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  // Not so when a pipe belongs to another user, or has no reader yet.
  if (descriptor_ >= 0) mayWait_ = false;
  if (descriptor_ < 0) descriptor_ = STDERR_FILENO;
}

std::size_t StandardError::WriteNow(std::string_view bytes) const {
  if (mayWait_) return WriteWhileReady(bytes);
  const auto taken = isSocket_ ? ::send(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL)
                               : ::write(descriptor_, bytes.data(), bytes.size());
  return taken > 0 ? static_cast<std::size_t>(taken) : 0;
}

}  // namespace Corvane::Service

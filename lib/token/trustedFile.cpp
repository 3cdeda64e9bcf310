#include "lib/token/trustedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "platform/corvane/fileDescriptor.h"

namespace NornToken {
namespace {

std::int64_t Nanoseconds(const timespec& time) {
  return time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
}

}  // namespace

FileVersion::FileVersion(const struct stat& status)
    : device(status.st_dev),
      inode(status.st_ino),
      size(status.st_size),
      modified(Nanoseconds(status.st_mtim)),
      changed(Nanoseconds(status.st_ctim)) {}

FileVersion VersionOf(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? FileVersion(status) : FileVersion(errno);
}

const char* TrustFault(const struct stat& status, Access access) {
  if (!S_ISREG(status.st_mode)) return "it is no regular file";
  if (status.st_uid != 0 && status.st_uid != geteuid()) return "it belongs to another user";
  const mode_t forbidden = access == Access::Private ? S_IRWXG | S_IRWXO : S_IWGRP | S_IWOTH;
  if ((status.st_mode & forbidden) == 0) return nullptr;
  return access == Access::Private ? "others may read or write it" : "others may write it";
}

bool ReadAll(int fd, std::size_t limit, std::string& text) {
  std::array<char, 16384> buffer{};
  while (text.size() <= limit) {
    const auto count = read(fd, buffer.data(), buffer.size());
    if (count == 0) return true;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return true;
}

int WriteAll(int fd, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const auto count = write(fd, text.data() + done, text.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    done += static_cast<std::size_t>(count);
  }
  return fsync(fd) == 0 ? 0 : errno;
}

Reading ReadTrustedFile(const std::string& path, Access access, std::size_t limit, std::string& text,
                        std::string& fault) {
  // Not blocking, as the name may have become that of a pipe.
  const Corvane::FileDescriptor file(
      open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (file.Get() < 0 || fstat(file.Get(), &status) != 0) {
    fault = errno == ELOOP ? "it is a symbolic link" : std::strerror(errno);
    return errno == ELOOP ? Reading::Refused : Reading::Failed;
  }
  if (const char* reason = TrustFault(status, access)) {
    fault = reason;
    return Reading::Refused;
  }
  if (!ReadAll(file.Get(), limit, text)) {
    fault = std::strerror(errno);
    return Reading::Failed;
  }
  if (text.size() > limit) {
    fault = "it is longer than " + std::to_string(limit) + " bytes";
    return Reading::Refused;
  }
  return Reading::Done;
}

}  // namespace NornToken

#include "platform/krell/standin/hostDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "platform/krell/standin/host.h"

namespace Krell {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const fs::path& directory, const std::string& reason) {
  throw HostError("host directory " + directory.native() + reason);
}

[[noreturn]] void Fail(const fs::path& directory, int error) {
  Refuse(directory, ": " + std::generic_category().message(error));
}

struct stat StatusOf(const Descriptor& entry, const fs::path& directory) {
  struct stat status {};
  if (fstat(entry.Get(), &status) != 0) Fail(directory, errno);
  return status;
}

// Absolute, and without the slash at its end, after which a link would be followed.
fs::path PathOf(const std::string& directory) {
  std::error_code error;
  const fs::path path = fs::absolute(directory, error);
  if (error) Fail(directory, error.value());
  return path.has_filename() ? path : path.parent_path();
}

void CheckOnTheWay(const struct stat& status, const fs::path& walked, const fs::path& directory) {
  if (S_ISLNK(status.st_mode)) Refuse(directory, " is reached through a link, " + walked.native());
  if ((status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0) {
    Refuse(directory, " can be replaced by other users, who can write " + walked.native());
  }
}

void CheckIsOursAlone(const struct stat& status, const fs::path& directory) {
  if (status.st_uid != geteuid()) Refuse(directory, " belongs to another user");
  if ((status.st_mode & 077) != 0) Refuse(directory, " is open to other users, its mode must be 0700");
}

}  // namespace

Descriptor OpenHostDirectory(const std::string& directory) {
  const fs::path path = PathOf(directory);
  // From descriptor to descriptor, so that what was checked is what is opened next.
  Descriptor folder(AT_FDCWD);
  fs::path walked;
  for (auto name = path.begin(); name != path.end(); ++name) {
    const bool isLast = std::next(name) == path.end();
    if (isLast && mkdirat(folder.Get(), name->c_str(), 0700) != 0 && errno != EEXIST) Fail(path, errno);
    folder = Descriptor(openat(folder.Get(), name->c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (folder.Get() < 0) Fail(path, errno);
    walked /= *name;
    CheckOnTheWay(StatusOf(folder, path), walked, path);
  }
  CheckIsOursAlone(StatusOf(folder, path), path);
  Descriptor opened(openat(folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.Get() < 0) Fail(path, errno);
  return opened;
}

}  // namespace Krell

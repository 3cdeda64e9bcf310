#include "guest/agent/keeping/storeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/corvane/fileDescriptor.h"

namespace GuestAgent {
namespace {

[[noreturn]] void ThrowSystemError(const char* what) {
  throw DatabaseError(SQLITE_CANTOPEN, std::string(what) + ": " + std::strerror(errno));
}

std::string FolderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// SQLite refuses a path with any link in it, while an administrator may well have moved the folder.
std::string WithRealFolder(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> folder(realpath(FolderOf(path).c_str(), nullptr),
                                                           &std::free);
  if (folder == nullptr) ThrowSystemError("its folder");
  return std::string(folder.get()) + '/' + path.substr(path.rfind('/') + 1);
}

// SQLite would give it the mode 0644. It is never opened when it was there before: closing it would take the
// locks away from whoever has it open in this process.
void MakeFile(const std::string& path) {
  const Corvane::FileDescriptor file(
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.IsOpen() && errno != EEXIST) ThrowSystemError("it can't be made");
}

void Rename(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) ThrowSystemError("it can't be set aside");
}

}  // namespace

std::unique_ptr<Database> OpenForWriting(const std::string& path) {
  // If it fails, the folder is there, or what comes next fails.
  mkdir(FolderOf(path).c_str(), 0700);
  const auto file = WithRealFolder(path);
  MakeFile(file);
  return std::make_unique<Database>(file, Database::Access::ReadWrite);
}

std::unique_ptr<Database> OpenForReading(const std::string& path) {
  try {
    return std::make_unique<Database>(WithRealFolder(path), Database::Access::ReadOnly);
  } catch (const DatabaseError&) {
    return nullptr;
  }
}

void SetAside(const std::string& path) {
  const auto broken = path + ".broken";
  // An old log would become part of what is set aside, and one that stays part of the next file.
  unlink((broken + "-wal").c_str());
  Rename(path, broken);
  unlink((path + "-journal").c_str());
  if (access((path + "-wal").c_str(), F_OK) == 0) Rename(path + "-wal", broken + "-wal");
}

}  // namespace GuestAgent

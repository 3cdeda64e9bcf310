#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

struct stat;

namespace NornToken {

// What changes whenever a file is replaced or written; with an error number when there is no file to see.
struct FileVersion {
  explicit FileVersion(const struct stat& status);
  explicit FileVersion(int errorNumber) : error(errorNumber) {}
  bool operator==(const FileVersion&) const = default;

  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  std::int64_t modified = 0;
  std::int64_t changed = 0;
  int error = 0;
};

// The version of what the path names now, a symbolic link itself included.
FileVersion VersionOf(const std::string& path);

// Who may do what with a file that is believed.
enum class Access {
  Public,   // Others may read it, but not write it.
  Private,  // Others may neither read nor write it.
};

// Null when the open file is a regular one that belongs to root or to this process's user and that others
// can't get at; otherwise what is wrong with it.
const char* TrustFault(const struct stat& status, Access access);

// Appends all that can be read, up to one byte more than the limit. False on a failed read.
bool ReadAll(int fd, std::size_t limit, std::string& text);

// Gives 0, or the error number of the call that failed.
int WriteAll(int fd, const std::string& text);

// How the attempt to read a file ended.
enum class Reading {
  Done,
  Refused,  // Not to be believed, as long as the file doesn't change.
  Failed,   // The system didn't give it, which may pass: no descriptor is left, no file is there, a bad disk.
};

// Reads a file that is never a symbolic link. The reason is in fault when that is not done.
Reading ReadTrustedFile(const std::string& path, Access access, std::size_t limit, std::string& text,
                        std::string& fault);

}  // namespace NornToken

#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Corvane {

// Owns a descriptor, and closes it. Negative means none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.Release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    FileDescriptor former(std::exchange(descriptor_, other.Release()));
    return *this;
  }
  ~FileDescriptor() {
    if (IsOpen()) close(descriptor_);
  }

  int Get() const { return descriptor_; }
  bool IsOpen() const { return descriptor_ >= 0; }
  int Release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_ = -1;
};

// Whether a call failed with this errno for want of descriptors or memory, which says nothing about what it
// was asked.
inline bool IsShortage(int error) {
  return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
}

}  // namespace Corvane

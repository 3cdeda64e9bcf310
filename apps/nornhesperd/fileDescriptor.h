#pragma once

#include <unistd.h>

#include <cerrno>

namespace NornHesper {

// Closes a descriptor at the end of the scope. Negative means none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (IsOpen()) {
      close(descriptor_);
    }
  }

  int Get() const { return descriptor_; }
  bool IsOpen() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

// Whether a call failed with this errno for want of descriptors or memory, which says nothing about what it
// was asked.
inline bool IsShortage(int error) {
  return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
}

}  // namespace NornHesper

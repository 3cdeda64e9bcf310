#pragma once

#include <unistd.h>

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

}  // namespace NornHesper

#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/corvane/mutex.h"

namespace Krell {

class VsockKernel;
class VsockSocket;

// A socket, or with no socket an open device.
struct OpenDescriptor {
  std::shared_ptr<VsockKernel> kernel;
  std::shared_ptr<VsockSocket> socket;
};

// What is behind the descriptors of this process that are the vsock's. May be used by any thread.
class DescriptorTable {
 public:
  // Never destroyed, as descriptors are closed up to the end of the process.
  static DescriptorTable& OfThisProcess();

  // Null if the descriptor is no socket of the vsock, or no open device. For all others this is one load:
  // programs send their other traffic through here as well.
  std::shared_ptr<VsockSocket> FindSocket(int fd);
  std::shared_ptr<VsockKernel> FindDevice(int fd);
  // False with EMFILE for a number beyond the table.
  bool Insert(int fd, OpenDescriptor descriptor);
  // Gives what was there, or an empty one.
  OpenDescriptor Erase(int fd);

 private:
  static constexpr int kMost = 1 << 20;
  static constexpr int kPageSize = 64;
  using Page = std::array<OpenDescriptor, kPageSize>;

  static std::size_t PageOf(int fd) { return static_cast<std::size_t>(fd / kPageSize); }
  static std::uint64_t BitOf(int fd) { return std::uint64_t{1} << (fd % kPageSize); }

  bool Contains(int fd) const {
    return fd >= 0 && fd < kMost && (ours_[PageOf(fd)].load(std::memory_order_relaxed) & BitOf(fd)) != 0;
  }
  OpenDescriptor& Entry(int fd) CORVANE_REQUIRES(mutex_) {
    return (*pages_[PageOf(fd)])[static_cast<std::size_t>(fd % kPageSize)];
  }

  // One bit a descriptor.
  std::array<std::atomic<std::uint64_t>, kMost / kPageSize> ours_{};
  Corvane::Mutex mutex_;
  // Made when first needed, and kept: a device that is opened for each packet allocates nothing.
  std::array<Page*, kMost / kPageSize> pages_ CORVANE_GUARDED_BY(mutex_){};
};

}  // namespace Krell

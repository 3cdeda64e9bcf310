#include "platform/krell/standin/descriptorTable.h"

#include <cerrno>
#include <utility>

namespace Krell {

DescriptorTable& DescriptorTable::OfThisProcess() {
  static constinit DescriptorTable table;
  return table;
}

std::shared_ptr<VsockSocket> DescriptorTable::FindSocket(int fd) {
  if (!Contains(fd)) return nullptr;
  const Corvane::MutexLock guard(mutex_);
  return Entry(fd).socket;
}

std::shared_ptr<VsockKernel> DescriptorTable::FindDevice(int fd) {
  if (!Contains(fd)) return nullptr;
  const Corvane::MutexLock guard(mutex_);
  const OpenDescriptor& entry = Entry(fd);
  return entry.socket ? nullptr : entry.kernel;
}

bool DescriptorTable::Insert(int fd, OpenDescriptor descriptor) {
  if (fd >= kMost) {
    errno = EMFILE;
    return false;
  }
  const Corvane::MutexLock guard(mutex_);
  Page*& page = pages_[PageOf(fd)];
  if (page == nullptr) page = new Page;
  Entry(fd) = std::move(descriptor);
  ours_[PageOf(fd)].fetch_or(BitOf(fd));
  return true;
}

OpenDescriptor DescriptorTable::Erase(int fd) {
  if (!Contains(fd)) return {};
  const Corvane::MutexLock guard(mutex_);
  ours_[PageOf(fd)].fetch_and(~BitOf(fd));
  return std::exchange(Entry(fd), {});
}

}  // namespace Krell

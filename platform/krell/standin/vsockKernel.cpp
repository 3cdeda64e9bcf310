#include "platform/krell/standin/vsockKernel.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/corvane/mutex.h"
#include "platform/krell/standin/libc.h"

namespace Krell {
namespace {

constexpr const char* kInPlaceOfDevice = "/dev/null";

std::atomic<std::uint64_t> lastNumber{0};
thread_local VsockKernel::Sender lastSender;

}  // namespace

std::shared_ptr<VsockKernel> VsockKernel::Current() {
  // Neither is ever destroyed: sockets are closed up to the last moment of the process.
  static auto& mutex = *new Corvane::Mutex;
  static auto& named = *new std::pair<std::string, std::shared_ptr<VsockKernel>>;
  const char* directory = std::getenv("KRELL_HOST_DIR");
  if (directory == nullptr || *directory == '\0') return nullptr;
  const Corvane::MutexLock guard(mutex);
  if (named.first == directory) return named.second;
  named = {directory, nullptr};
  try {
    named.second = std::make_shared<VsockKernel>(directory);
  } catch (const HostError& error) {
    std::fprintf(stderr, "krell: %s\n", error.what());
  }
  return named.second;
}

VsockKernel::VsockKernel(const std::string& directory)
    : number_(++lastNumber),
      host_(directory),
      faults_(host_.DirectoryDescriptor()),
      vms_(host_),
      endpoints_(host_),
      device_(Libc::Open(kInPlaceOfDevice, O_RDONLY | O_CLOEXEC, 0)) {}

int VsockKernel::Family() const {
  return faults_.FamilyMode() == Faults::Family::Device ? kDeviceFamily : kStandardVsockFamily;
}

bool VsockKernel::HasFamily(int family) const {
  switch (faults_.FamilyMode()) {
    case Faults::Family::Standard:
      return family == kStandardVsockFamily;
    case Faults::Family::Device:
      return family == kDeviceFamily && openDevices_ > 0;
    case Faults::Family::None:
      break;
  }
  return false;
}

// A copy of a descriptor costs less than the walk to its file.
int VsockKernel::OpenDevice(int flags) const {
  const bool closesOnExec = (flags & O_CLOEXEC) != 0;
  const int copy = fcntl(device_.Get(), closesOnExec ? F_DUPFD_CLOEXEC : F_DUPFD, 0);
  if (copy >= 0 || errno != EBADF) return copy;
  return Libc::Open(kInPlaceOfDevice, O_RDONLY | (flags & O_CLOEXEC), 0);
}

int VsockKernel::DeviceRequest(unsigned long request, void* argument) {
  if (const int error = faults_.Next("ioctl", request)) return error;
  if (argument == nullptr) return EFAULT;
  if (request == kIoctlAddressFamily) {
    *static_cast<std::int32_t*>(argument) = Family();
    return 0;
  }
  if (request != kIoctlUuidToCid) return ENOTTY;
  auto* mapping = static_cast<UuidToCidRequest*>(argument);
  const auto vm = UnlessAnother(
      vms_.FindByBiosUuid({mapping->uuid.data(), strnlen(mapping->uuid.data(), mapping->uuid.size() - 1)}));
  if (!vm) return ENOENT;
  mapping->cid = vm->cid;
  return 0;
}

void VsockKernel::RememberSender(std::uint32_t cid, std::uint32_t cartelId) {
  lastSender = {number_, cid, cartelId};
}

std::optional<RunningVm> VsockKernel::UnlessAnother(const std::optional<RunningVm>& vm) const {
  const bool isAnother =
      vm && lastSender.host == number_ && lastSender.cid == vm->cid && lastSender.cartelId != vm->cartelId;
  return isAnother ? std::nullopt : vm;
}

std::optional<RunningVm> VsockKernel::FindVm(std::uint32_t cid) {
  return UnlessAnother(vms_.FindByCid(cid));
}

}  // namespace Krell

#include "platform/krell/standin/vsockKernel.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/krell/standin/endpointQueue.h"
#include "platform/krell/standin/gateway.h"

namespace Krell {
namespace {

// Bounds for what is kept of VMs and endpoints that come and go.
constexpr std::size_t kMostKept = 8192;

std::uint64_t EndpointKey(std::uint32_t cid, std::uint32_t port) {
  return std::uint64_t{cid} << 32 | port;
}

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
    : number_(++lastNumber), host_(directory), faults_(host_.DirectoryDescriptor()) {}

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

int VsockKernel::DeviceRequest(unsigned long request, void* argument) {
  if (const int error = faults_.Next("ioctl", request)) return error;
  if (argument == nullptr) return EFAULT;
  if (request == kIoctlAddressFamily) {
    *static_cast<std::int32_t*>(argument) = Family();
    return 0;
  }
  if (request != kIoctlUuidToCid) return ENOTTY;
  auto* mapping = static_cast<UuidToCidRequest*>(argument);
  const auto vm = host_.FindByBiosUuid(
      std::string(mapping->uuid.data(), strnlen(mapping->uuid.data(), mapping->uuid.size() - 1)));
  if (!vm || IsKnownAsAnother(vm->identity.cid, vm->cartelId)) return ENOENT;
  mapping->cid = vm->identity.cid;
  return 0;
}

void VsockKernel::RememberSender(std::uint32_t cid, std::uint32_t cartelId) {
  lastSender = {number_, cid, cartelId};
}

bool VsockKernel::IsKnownAsAnother(std::uint32_t cid, std::uint32_t cartelId) const {
  return lastSender.host == number_ && lastSender.cid == cid && lastSender.cartelId != cartelId;
}

std::optional<VsockKernel::RunningVm> VsockKernel::FindVm(std::uint32_t cid) {
  auto vm = FindRunning(cid);
  return vm && IsKnownAsAnother(cid, vm->cartelId) ? std::nullopt : vm;
}

std::optional<VsockKernel::RunningVm> VsockKernel::FindRunning(std::uint32_t cid) {
  const Corvane::MutexLock guard(mutex_);
  const std::uint64_t generation = host_.Generation();
  if (generation != generation_ || vms_.size() >= kMostKept) {
    vms_.clear();
    generation_ = generation;
  }
  const auto known = vms_.find(cid);
  if (known != vms_.end()) return known->second;
  std::optional<RunningVm> running;
  if (const auto vm = host_.FindByCid(cid)) running = RunningVm{vm->cartelId, vm->identity.privileged};
  vms_.emplace(cid, running);
  return running;
}

std::shared_ptr<EndpointQueue> VsockKernel::FindEndpoint(std::uint32_t cid, std::uint32_t port) {
  return Find(EndpointKey(cid, port), EndpointQueue::Name(cid, port));
}

std::shared_ptr<EndpointQueue> VsockKernel::FindGateway() {
  return Find(EndpointKey(kAnyCid, kAnyPort), Gateway::kName);
}

std::shared_ptr<EndpointQueue> VsockKernel::Find(std::uint64_t key, const std::string& name) {
  const Corvane::MutexLock guard(mutex_);
  const auto known = endpoints_.find(key);
  if (known != endpoints_.end()) {
    if (!known->second->IsClosed()) return known->second;
    endpoints_.erase(known);
  }
  auto endpoint = EndpointQueue::Open(host_.EndpointsDescriptor(), name);
  if (!endpoint) return nullptr;
  if (endpoints_.size() >= kMostKept) {
    std::erase_if(endpoints_, [](const auto& entry) { return entry.second->IsClosed(); });
    if (endpoints_.size() >= kMostKept) endpoints_.clear();
  }
  endpoints_.emplace(key, endpoint);
  return endpoint;
}

void VsockKernel::ForgetEndpoint(const std::shared_ptr<EndpointQueue>& endpoint) {
  const Corvane::MutexLock guard(mutex_);
  std::erase_if(endpoints_, [&endpoint](const auto& entry) { return entry.second == endpoint; });
}

}  // namespace Krell

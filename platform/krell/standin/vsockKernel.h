#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/corvane/mutex.h"
#include "platform/krell/standin/faults.h"
#include "platform/krell/standin/host.h"
#include "platform/krell/vsockAddress.h"

namespace Krell {

class EndpointQueue;

// What this process sees of one host's kernel. May be used by any thread.
class VsockKernel {
 public:
  // The number that the device hands out where the family has not its standard one.
  static constexpr int kDeviceFamily = 53;

  struct RunningVm {
    std::uint32_t cartelId = 0;
    bool privileged = false;
  };

  // The VM that sent what this thread has received last. Whoever asks for a sender's cid after that means
  // this VM: should another one have got the cid since, no call of the thread tells its name for the old
  // one's words.
  struct Sender {
    std::uint64_t host = 0;
    std::uint32_t cid = kAnyCid;
    std::uint32_t cartelId = 0;
  };

  // The host that KRELL_HOST_DIR names now; null if it names none or if the directory can't be used, which
  // is reported once on standard error.
  static std::shared_ptr<VsockKernel> Current();

  explicit VsockKernel(const std::string& directory);

  // The family's number in this kernel, whether or not it is registered now.
  int Family() const;
  bool HasFamily(int family) const;
  bool HasDevice() const { return faults_.FamilyMode() != Faults::Family::None; }
  void DeviceOpened() { ++openDevices_; }
  void DeviceClosed() { --openDevices_; }
  // 0 or an errno.
  int DeviceRequest(unsigned long request, void* argument);

  void RememberSender(std::uint32_t cid, std::uint32_t cartelId);
  std::optional<RunningVm> FindVm(std::uint32_t cid);
  // The endpoint bound to this address, or null.
  std::shared_ptr<EndpointQueue> FindEndpoint(std::uint32_t cid, std::uint32_t port);
  // Where packets go that are for a VM and for no endpoint of it here, or null.
  std::shared_ptr<EndpointQueue> FindGateway();
  // An endpoint that was found, and that nobody receives at any more.
  void ForgetEndpoint(const std::shared_ptr<EndpointQueue>& endpoint);

  const Host& GetHost() const { return host_; }
  Faults& GetFaults() { return faults_; }

 private:
  bool IsKnownAsAnother(std::uint32_t cid, std::uint32_t cartelId) const;
  std::optional<RunningVm> FindRunning(std::uint32_t cid);
  std::shared_ptr<EndpointQueue> Find(std::uint64_t key, const std::string& name);

  // No other object's of this process, before or after.
  const std::uint64_t number_;
  Host host_;
  Faults faults_;
  std::atomic<int> openDevices_{0};
  Corvane::Mutex mutex_;
  std::uint64_t generation_ CORVANE_GUARDED_BY(mutex_) = 0;
  std::unordered_map<std::uint32_t, std::optional<RunningVm>> vms_ CORVANE_GUARDED_BY(mutex_);
  std::unordered_map<std::uint64_t, std::shared_ptr<EndpointQueue>> endpoints_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Krell

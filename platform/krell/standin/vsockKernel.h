#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/krell/standin/descriptor.h"
#include "platform/krell/standin/endpointTable.h"
#include "platform/krell/standin/faults.h"
#include "platform/krell/standin/host.h"
#include "platform/krell/standin/runningVms.h"
#include "platform/krell/vsockAddress.h"

namespace Krell {

// What this process sees of one host's kernel. May be used by any thread.
class VsockKernel {
 public:
  // The number that the device hands out where the family has not its standard one.
  static constexpr int kDeviceFamily = 53;

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
  // A descriptor that stands for the device, or -1 with errno; the caller's to close. The flags are those of
  // open.
  int OpenDevice(int flags) const;
  void DeviceOpened() { ++openDevices_; }
  void DeviceClosed() { --openDevices_; }
  // 0 or an errno.
  int DeviceRequest(unsigned long request, void* argument);

  void RememberSender(std::uint32_t cid, std::uint32_t cartelId);
  std::optional<RunningVm> FindVm(std::uint32_t cid);
  const Host& GetHost() const { return host_; }
  EndpointTable& Endpoints() { return endpoints_; }
  Faults& GetFaults() { return faults_; }

 private:
  // Nothing where another VM had the cid when it sent what this thread has received last.
  std::optional<RunningVm> UnlessAnother(const std::optional<RunningVm>& vm) const;

  // No other object's of this process, before or after.
  const std::uint64_t number_;
  Host host_;
  Faults faults_;
  RunningVms vms_;
  EndpointTable endpoints_;
  const Descriptor device_;
  std::atomic<int> openDevices_{0};
};

}  // namespace Krell

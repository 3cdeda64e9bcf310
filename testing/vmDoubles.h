#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/corvane/fileDescriptor.h"
#include "platform/krell/standin/host.h"
#include "testing/guestStream.h"

namespace Testing {

// The name NAME gives a VM "bios-NAME", "uuid-NAME" and "vm-NAME"; its sockets' paths begin with the path.
// With a cid of 0, the host allots one.
struct VmChoice {
  std::string name;
  std::string path;
  bool privileged = true;
  std::uint32_t cid = 0;
};

// A VM of the test host, for as long as the object lives.
class DoubleVm {
 public:
  DoubleVm(const DoubleVm&) = delete;
  DoubleVm& operator=(const DoubleVm&) = delete;

  // The VM's life ends before the object's; what the guest has opened stays open.
  void Stop();
  std::uint32_t cid() const { return vm_.identity.cid; }
  const std::string& path() const { return vm_.identity.transport.path; }

 protected:
  DoubleVm(const VmChoice& choice, const Krell::VmTransport& transport);
  ~DoubleVm() { Stop(); }

 private:
  const Krell::VirtualMachine vm_;
  bool runs_ = true;
};

// In place of a VMM with hybrid vsock, and of the guest in it.
class HybridVm final : public DoubleVm {
 public:
  explicit HybridVm(const VmChoice& choice);
  ~HybridVm();

  // The guest connects to a port of the host, as soon as somebody listens there. Throws if nobody does.
  GuestStream Connect(std::uint32_t port) const;
  // Does so if somebody listens there now.
  std::optional<GuestStream> TryConnect(std::uint32_t port) const;
  // The VMM takes connections to the guest; until then, the host is told that nobody is there.
  void Listen();
  void StopListening();
  // The next request for history that comes to the guest's port. Requires: listens.
  std::optional<std::string> ReceiveRequest();

 private:
  Corvane::FileDescriptor listening_;
};

// In place of a VMM that has two virtio-serial ports as AF_UNIX sockets, and of the guest behind them.
class SerialVm final : public DoubleVm {
 public:
  explicit SerialVm(const VmChoice& choice);
  ~SerialVm();

  // The guest opens its port for publications, as soon as the host has both. Throws if it never has.
  GuestStream Connect(std::uint32_t port = 0);
  void Listen();
  // The VMM's sockets go away. The host's connection to the first one is the stream that Connect gave.
  void StopListening();
  // The next request for history on the other port.
  std::optional<std::string> ReceiveRequest();

 private:
  void AcceptHistoryLine();

  const std::string historyPath_;
  Corvane::FileDescriptor publish_;
  Corvane::FileDescriptor history_;
  std::optional<GuestStream> requests_;
};

}  // namespace Testing

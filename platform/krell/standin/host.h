#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Krell {

// How a real VM's bytes reach the host. Paths are absolute, and have at most
// 107 bytes (102, where a port is appended) and no line feeds.
struct VmTransport {
  enum class Kind : std::uint32_t {
    Vsock,   // the host's own vsock; also what a VM has that is simulated on this machine
    Hybrid,  // the VMM's AF_UNIX socket at path, in the manner of Firecracker
    Serial,  // two virtio-serial ports, whose AF_UNIX sockets are at path and historyPath
  };

  Kind kind = Kind::Vsock;
  std::string path = {};
  std::string historyPath = {};
  bool operator==(const VmTransport&) const = default;
};

// What names a VM, and how it is reached. The three identifiers are 1 to 127 letters, digits and "-_.: "; the
// BIOS uuid is what the kernel maps to a cid.
struct VmIdentity {
  std::uint32_t cid = 0;
  std::string biosUuid;
  std::string vmUuid;
  std::string mgrVmId;
  bool privileged = true;
  VmTransport transport = {};
  bool operator==(const VmIdentity&) const = default;
};

// A running VM. The ids are given at start and are never used again on the same host.
struct VirtualMachine {
  VmIdentity identity;
  std::uint32_t cartelId = 0;
  std::uint32_t leaderId = 0;
};

// What is wrong with a host directory or with a change to it, in words for its user.
class HostError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One simulated hypervisor host: a directory that belongs to its user alone. Any number of processes may
// read and change it at the same time; readers never see half a VM. Objects may be used by any thread.
class Host {
 public:
  // Makes the directory with mode 0700 if it is missing. Throws HostError if it is not this user's alone, or
  // if others could put another one in its place.
  explicit Host(std::string directory);
  // The directory named by KRELL_HOST_DIR. Throws HostError if the variable is not set.
  static Host FromEnvironment();
  // The same, or the usual directory if the variable is not set and that is there: for programs that are
  // nothing without a host.
  static Host OfThisMachine();
  static constexpr const char* kUsualDirectory = "/run/tessaly/host";
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  Host(Host&& other) noexcept;
  Host& operator=(Host&&) = delete;
  ~Host();

  // Starts a VM. Throws HostError on a bad identity, a cid in use, or a path that another VM has. With a BIOS
  // uuid that a second VM has too, the later one is what the uuid maps to. A cid of 0 is replaced by one that
  // no VM of this host has had before, and that a VMM would not choose by itself.
  VirtualMachine Add(const VmIdentity& identity);
  // Stops a VM; its open sockets are cut off. Throws HostError if no VM has this cid.
  void Remove(std::uint32_t cid);
  // The running VMs in the order in which they were started.
  std::vector<VirtualMachine> List() const;

  // Nothing if no such VM runs; std::system_error if that can't be found out.
  std::optional<VirtualMachine> FindByCid(std::uint32_t cid) const;
  std::optional<VirtualMachine> FindByBiosUuid(const std::string& uuid) const;
  std::optional<VirtualMachine> FindByCartelId(unsigned long cartelId) const;
  std::optional<VirtualMachine> FindByLeaderId(unsigned long leaderId) const;
  // Whose transport has this path.
  std::optional<VirtualMachine> FindByPath(const std::string& path) const;
  // In the order in which the VMs were started.
  std::vector<unsigned long> LeaderIds() const;

  // Changes whenever a VM starts or stops: what was read before may be kept as long as this stays.
  std::uint64_t Generation() const { return state_->generation.load(std::memory_order_acquire); }
  // Changes whenever an endpoint appears, for those who remember where there was none.
  std::uint64_t EndpointGeneration() const { return state_->endpoints.load(std::memory_order_acquire); }
  // To be called by whoever has bound one, when it can be found.
  void EndpointAppeared() const { state_->endpoints.fetch_add(1, std::memory_order_acq_rel); }

  const std::string& Directory() const { return directory_; }
  // Descriptors of the directory and of the folder of its datagram endpoints.
  int DirectoryDescriptor() const { return directoryFd_; }
  int EndpointsDescriptor() const { return endpointsFd_; }

  // Excludes all other changes to this host, in this process and in others, while it lives.
  class ChangeLock {
   public:
    explicit ChangeLock(const Host& host);
    ChangeLock(const ChangeLock&) = delete;
    ChangeLock& operator=(const ChangeLock&) = delete;
    ~ChangeLock();

   private:
    int fd_;
  };

 private:
  // Shared by all processes of the host.
  struct State {
    std::atomic<std::uint64_t> generation;
    std::atomic<std::uint64_t> nextId;
    std::atomic<std::uint64_t> endpoints;
  };

  std::optional<VirtualMachine> FindByLink(const std::string& link) const;
  void RemoveLinkTo(const std::string& link, std::uint32_t cid) const;

  std::string directory_;
  int directoryFd_ = -1;
  int endpointsFd_ = -1;
  State* state_ = nullptr;
};

}  // namespace Krell

#include "platform/krell/standin/host.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/krell/standin/descriptor.h"
#include "platform/krell/standin/hostDirectory.h"
#include "platform/krell/vsockAddress.h"

namespace Krell {
namespace {

constexpr std::uint32_t kRecordMagic = 0x324D564B;
constexpr std::uint32_t kFirstGuestCid = 3;
// One at a time, under the lock of the host.
constexpr const char* kTemporaryName = "new";
constexpr std::uint64_t kFirstId = 2098177;
// VMMs number their VMs from 3 on.
constexpr std::uint32_t kFirstAllottedCid = 1U << 30;
constexpr std::uint32_t kAllottedCids = 1U << 30;
// What the address of an AF_UNIX socket holds, with a NUL at its end.
constexpr std::size_t kPathField = 108;
// A hybrid VMM's path has the port appended to it.
constexpr std::size_t kPortSuffix = std::string_view("_7777").size();

// A VM's file: written once under another name and moved into place, so it is whole or not there.
struct VmRecord {
  std::uint32_t magic;
  std::uint32_t cid;
  std::uint32_t cartelId;
  std::uint32_t leaderId;
  std::uint32_t privileged;
  char biosUuid[128];
  char vmUuid[128];
  char mgrVmId[128];
  VmTransport::Kind transport;
  char path[kPathField];
  char historyPath[kPathField];
};

HostError Failure(const std::string& what, int error) {
  return HostError(what + ": " + std::generic_category().message(error));
}

void CheckIdentifier(const std::string& name, const std::string& text) {
  const auto allowed = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           std::string_view("-_.: ").find(c) != std::string_view::npos;
  };
  if (text.empty() || text.size() > 127) throw HostError(name + " must have 1 to 127 characters");
  if (!std::all_of(text.begin(), text.end(), allowed)) {
    throw HostError(name + " may hold letters, digits and \"-_.: \" only");
  }
}

void CheckPath(const std::string& name, const std::string& path, std::size_t suffix = 0) {
  if (!path.starts_with('/')) throw HostError(name + " must be an absolute path");
  const std::size_t most = kPathField - 1 - suffix;
  if (path.size() > most) {
    throw HostError(name + " must have at most " + std::to_string(most) + " bytes");
  }
  if (path.find_first_of(std::string_view("\n\0", 2)) != std::string::npos) {
    throw HostError(name + " may hold neither line feeds nor NULs");
  }
}

void CheckTransport(const VmTransport& transport) {
  if (transport.kind == VmTransport::Kind::Vsock) return;
  const bool isHybrid = transport.kind == VmTransport::Kind::Hybrid;
  CheckPath("the path of the VM's socket", transport.path, isHybrid ? kPortSuffix : 0);
  if (transport.kind == VmTransport::Kind::Serial) {
    CheckPath("the path of the history port's socket", transport.historyPath);
    if (transport.path == transport.historyPath) throw HostError("the two ports have a socket each");
  }
}

void CheckIdentity(const VmIdentity& identity) {
  if (identity.cid != 0 && (identity.cid < kFirstGuestCid || identity.cid == kAnyCid)) {
    throw HostError("a VM's cid must be " + std::to_string(kFirstGuestCid) + " to " +
                    std::to_string(kAnyCid - 1));
  }
  CheckIdentifier("the BIOS uuid", identity.biosUuid);
  CheckIdentifier("the VM uuid", identity.vmUuid);
  CheckIdentifier("the management server's id", identity.mgrVmId);
  CheckTransport(identity.transport);
}

std::string VmPath(std::uint32_t cid) {
  return "vms/" + std::to_string(cid);
}
std::string BiosLink(const std::string& uuid) {
  return "bios/=" + uuid;
}
std::string CartelLink(unsigned long id) {
  return "cartel/" + std::to_string(id);
}
std::string LeaderLink(unsigned long id) {
  return "leader/" + std::to_string(id);
}

// A path holds no line feeds.
std::string PathLink(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\n');
  return "paths/" + path;
}

// The sockets that are this VM's alone.
std::vector<std::string> PathsOf(const VmTransport& transport) {
  switch (transport.kind) {
    case VmTransport::Kind::Hybrid:
      return {transport.path};
    case VmTransport::Kind::Serial:
      return {transport.path, transport.historyPath};
    case VmTransport::Kind::Vsock:
      break;
  }
  return {};
}

std::optional<std::uint32_t> ParseNumber(std::string_view text) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<std::uint32_t> ReadLink(int directory, const std::string& link) {
  char target[32];
  const ssize_t length = readlinkat(directory, link.c_str(), target, sizeof target);
  if (length <= 0) return std::nullopt;
  return ParseNumber(std::string_view(target, static_cast<std::size_t>(length)));
}

void WriteFile(int directory, const std::string& path, const void* data, std::size_t size) {
  Descriptor file(openat(directory, kTemporaryName, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (file.Get() < 0 || write(file.Get(), data, size) != static_cast<ssize_t>(size) ||
      renameat(directory, kTemporaryName, directory, path.c_str()) != 0) {
    throw Failure("cannot write " + path, errno);
  }
}

void WriteLink(int directory, const std::string& link, std::uint32_t cid) {
  unlinkat(directory, kTemporaryName, 0);
  if (symlinkat(std::to_string(cid).c_str(), directory, kTemporaryName) != 0 ||
      renameat(directory, kTemporaryName, directory, link.c_str()) != 0) {
    throw Failure("cannot write " + link, errno);
  }
}

std::vector<std::uint32_t> ListNumbers(int directory, const char* folder) {
  Descriptor fd(openat(directory, folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  DIR* entries = fd.Get() < 0 ? nullptr : fdopendir(fd.Get());
  if (entries == nullptr) throw Failure(std::string("cannot read ") + folder, errno);
  fd.Release();
  std::vector<std::uint32_t> numbers;
  while (const dirent* entry = readdir(entries)) {
    if (const auto number = ParseNumber(entry->d_name)) numbers.push_back(*number);
  }
  closedir(entries);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

template <std::size_t size>
void CopyText(char (&field)[size], const std::string& text) {
  std::memcpy(field, text.data(), std::min(text.size(), size - 1));
}

template <std::size_t size>
std::string FieldText(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

VmRecord MakeRecord(const VirtualMachine& vm) {
  VmRecord record{};
  record.magic = kRecordMagic;
  record.cid = vm.identity.cid;
  record.cartelId = vm.cartelId;
  record.leaderId = vm.leaderId;
  record.privileged = vm.identity.privileged ? 1 : 0;
  CopyText(record.biosUuid, vm.identity.biosUuid);
  CopyText(record.vmUuid, vm.identity.vmUuid);
  CopyText(record.mgrVmId, vm.identity.mgrVmId);
  record.transport = vm.identity.transport.kind;
  CopyText(record.path, vm.identity.transport.path);
  CopyText(record.historyPath, vm.identity.transport.historyPath);
  return record;
}

VirtualMachine ReadRecord(const VmRecord& record) {
  return {{record.cid,
           FieldText(record.biosUuid),
           FieldText(record.vmUuid),
           FieldText(record.mgrVmId),
           record.privileged != 0,
           {record.transport, FieldText(record.path), FieldText(record.historyPath)}},
          record.cartelId,
          record.leaderId};
}

}  // namespace

Host::Host(std::string directory) : directory_(std::move(directory)) {
  const auto fail = [this](int error) { return Failure("host directory " + directory_, error); };
  constexpr int kOpenFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  Descriptor top = OpenHostDirectory(directory_);
  int endpointsFd = openat(top.Get(), "endpoints", kOpenFlags);
  if (endpointsFd < 0) {
    // The endpoints' folder is the last one: where it is, all are.
    for (const char* folder : {"vms", "bios", "cartel", "leader", "paths", "endpoints"}) {
      if (mkdirat(top.Get(), folder, 0700) != 0 && errno != EEXIST) throw fail(errno);
    }
    endpointsFd = openat(top.Get(), "endpoints", kOpenFlags);
  }
  Descriptor endpoints(endpointsFd);
  if (endpoints.Get() < 0) throw fail(errno);
  Descriptor state(openat(top.Get(), "state", O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  // Growing a file fills it with zeros, which is the state of a host that nothing has run on.
  if (state.Get() < 0 || ftruncate(state.Get(), sizeof(State)) != 0) throw fail(errno);
  void* memory = mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED, state.Get(), 0);
  if (memory == MAP_FAILED) throw fail(errno);
  state_ = static_cast<State*>(memory);
  directoryFd_ = top.Release();
  endpointsFd_ = endpoints.Release();
}

Host Host::FromEnvironment() {
  const char* directory = std::getenv("KRELL_HOST_DIR");
  if (directory == nullptr || *directory == '\0') throw HostError("KRELL_HOST_DIR is not set");
  return Host(directory);
}

Host Host::OfThisMachine() {
  const bool isNamed = std::getenv("KRELL_HOST_DIR") != nullptr;
  return isNamed || access(kUsualDirectory, F_OK) != 0 ? FromEnvironment() : Host(kUsualDirectory);
}

Host::Host(Host&& other) noexcept
    : directory_(std::move(other.directory_)),
      directoryFd_(std::exchange(other.directoryFd_, -1)),
      endpointsFd_(std::exchange(other.endpointsFd_, -1)),
      state_(std::exchange(other.state_, nullptr)) {}

Host::~Host() {
  if (state_ == nullptr) return;
  munmap(state_, sizeof(State));
  close(endpointsFd_);
  close(directoryFd_);
}

Host::ChangeLock::ChangeLock(const Host& host)
    : fd_(openat(host.directoryFd_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  int result = -1;
  if (fd_ >= 0) {
    do {
      result = flock(fd_, LOCK_EX);
    } while (result != 0 && errno == EINTR);
  }
  if (result != 0) {
    const int error = errno;
    if (fd_ >= 0) close(fd_);
    throw Failure("cannot lock host directory " + host.directory_, error);
  }
}

Host::ChangeLock::~ChangeLock() {
  close(fd_);
}

VirtualMachine Host::Add(const VmIdentity& identity) {
  CheckIdentity(identity);
  const ChangeLock lock(*this);
  if (identity.cid != 0 && FindByCid(identity.cid)) {
    throw HostError("cid " + std::to_string(identity.cid) + " is in use");
  }
  for (const auto& path : PathsOf(identity.transport)) {
    const auto other = FindByPath(path);
    if (other) throw HostError(path + " is the VM's with cid " + std::to_string(other->identity.cid));
  }
  const auto id = static_cast<std::uint32_t>(kFirstId + 2 * state_->nextId++);
  VirtualMachine vm{identity, id + 1, id};
  for (std::uint32_t next = id; vm.identity.cid == 0 || FindByCid(vm.identity.cid); ++next) {
    vm.identity.cid = kFirstAllottedCid + next % kAllottedCids;
  }
  const std::uint32_t cid = vm.identity.cid;
  const VmRecord record = MakeRecord(vm);
  // The links come last: each is believed only if the record that it leads to says the same.
  WriteFile(directoryFd_, VmPath(cid), &record, sizeof record);
  WriteLink(directoryFd_, BiosLink(identity.biosUuid), cid);
  WriteLink(directoryFd_, CartelLink(vm.cartelId), cid);
  WriteLink(directoryFd_, LeaderLink(vm.leaderId), cid);
  for (const auto& path : PathsOf(identity.transport)) WriteLink(directoryFd_, PathLink(path), cid);
  state_->generation.fetch_add(1, std::memory_order_acq_rel);
  return vm;
}

void Host::Remove(std::uint32_t cid) {
  const ChangeLock lock(*this);
  const auto vm = FindByCid(cid);
  if (!vm) throw HostError("no VM with cid " + std::to_string(cid));
  unlinkat(directoryFd_, VmPath(cid).c_str(), 0);
  RemoveLinkTo(BiosLink(vm->identity.biosUuid), cid);
  RemoveLinkTo(CartelLink(vm->cartelId), cid);
  RemoveLinkTo(LeaderLink(vm->leaderId), cid);
  for (const auto& path : PathsOf(vm->identity.transport)) RemoveLinkTo(PathLink(path), cid);
  state_->generation.fetch_add(1, std::memory_order_acq_rel);
}

void Host::RemoveLinkTo(const std::string& link, std::uint32_t cid) const {
  if (ReadLink(directoryFd_, link) == cid) unlinkat(directoryFd_, link.c_str(), 0);
}

std::vector<VirtualMachine> Host::List() const {
  std::vector<VirtualMachine> vms;
  for (const unsigned long id : LeaderIds()) {
    if (auto vm = FindByLeaderId(id)) vms.push_back(std::move(*vm));
  }
  return vms;
}

std::optional<VirtualMachine> Host::FindByCid(std::uint32_t cid) const {
  const Descriptor file(openat(directoryFd_, VmPath(cid).c_str(), O_RDONLY | O_CLOEXEC));
  // A VM that can't be read, as when descriptors run out, isn't one that doesn't run.
  if (file.Get() < 0 && errno != ENOENT) {
    throw std::system_error(errno, std::generic_category(), "cannot read VM " + std::to_string(cid));
  }
  VmRecord record{};
  if (file.Get() < 0 || read(file.Get(), &record, sizeof record) != sizeof record ||
      record.magic != kRecordMagic || record.cid != cid) {
    return std::nullopt;
  }
  return ReadRecord(record);
}

std::optional<VirtualMachine> Host::FindByLink(const std::string& link) const {
  const auto cid = ReadLink(directoryFd_, link);
  return cid ? FindByCid(*cid) : std::nullopt;
}

std::optional<VirtualMachine> Host::FindByBiosUuid(const std::string& uuid) const {
  if (uuid.find('/') != std::string::npos) return std::nullopt;
  auto vm = FindByLink(BiosLink(uuid));
  return vm && vm->identity.biosUuid == uuid ? vm : std::nullopt;
}

std::optional<VirtualMachine> Host::FindByCartelId(unsigned long cartelId) const {
  auto vm = FindByLink(CartelLink(cartelId));
  return vm && vm->cartelId == cartelId ? vm : std::nullopt;
}

std::optional<VirtualMachine> Host::FindByLeaderId(unsigned long leaderId) const {
  auto vm = FindByLink(LeaderLink(leaderId));
  return vm && vm->leaderId == leaderId ? vm : std::nullopt;
}

std::optional<VirtualMachine> Host::FindByPath(const std::string& path) const {
  auto vm = FindByLink(PathLink(path));
  if (!vm) return std::nullopt;
  const auto paths = PathsOf(vm->identity.transport);
  return std::find(paths.begin(), paths.end(), path) != paths.end() ? vm : std::nullopt;
}

std::vector<unsigned long> Host::LeaderIds() const {
  const auto ids = ListNumbers(directoryFd_, "leader");
  return {ids.begin(), ids.end()};
}

}  // namespace Krell

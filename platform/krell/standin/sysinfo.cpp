#include "platform/krell/sysinfo.h"

#include <array>
#include <cstring>
#include <system_error>

#include "platform/krell/standin/host.h"

namespace KrellCtl::Util {
namespace {

template <typename Record>
Record* Target(void* buffer, unsigned int size) {
  return size == sizeof(Record) ? static_cast<Record*>(buffer) : nullptr;
}

}  // namespace

Sysinfo::Sysinfo(unsigned int node) : node_(node) {
  if (node != kNodeVmmList && node != kNodeVmmInfo && node != kNodeCartelLeader) Fail("no such node");
}

void Sysinfo::SetInstance(const unsigned long& instance) {
  instance_ = instance;
}

void Sysinfo::Fail(const std::string& reason) const {
  throw Lib::SysinfoException("sysinfo node " + std::to_string(node_) + " instance " +
                              std::to_string(instance_) + ": " + reason);
}

void Sysinfo::Get(void* buffer, unsigned int size) try {
  const Krell::Host host = Krell::Host::FromEnvironment();
  if (node_ == kNodeCartelLeader) {
    const auto vm = host.FindByCartelId(instance_);
    if (!vm) Fail("no such cartel");
    auto* leaderId = Target<std::uint32_t>(buffer, size);
    if (leaderId == nullptr) Fail("wrong record size");
    std::memcpy(leaderId, &vm->leaderId, sizeof vm->leaderId);
  } else if (node_ == kNodeVmmInfo) {
    const auto vm = host.FindByLeaderId(instance_);
    if (!vm) Fail("no such VMM");
    auto* record = Target<VmmInfoRecord>(buffer, size);
    if (record == nullptr) Fail("wrong record size");
    std::memset(record, 0, sizeof *record);
    // The host directory takes texts of at most 127 bytes, so each keeps its NUL.
    std::memcpy(record->biosUuid.data(), vm->identity.biosUuid.data(), vm->identity.biosUuid.size());
    std::memcpy(record->vmUuid.data(), vm->identity.vmUuid.data(), vm->identity.vmUuid.size());
    std::memcpy(record->mgrVmId.data(), vm->identity.mgrVmId.data(), vm->identity.mgrVmId.size());
  } else {
    Fail("node has no record");
  }
} catch (const Krell::HostError& error) {
  Fail(error.what());
} catch (const std::system_error& error) {
  Fail(error.what());
}

void Sysinfo::List(std::vector<unsigned long>& ids) try {
  if (node_ != kNodeVmmList) Fail("node has no list");
  ids = Krell::Host::FromEnvironment().LeaderIds();
} catch (const Krell::HostError& error) {
  Fail(error.what());
}

}  // namespace KrellCtl::Util

#include "tools/host/registration.h"

#include <optional>

namespace Tools {
namespace {

void RemoveIfThere(Krell::Host& host, const std::optional<Krell::VirtualMachine>& vm) {
  if (vm) host.Remove(vm->identity.cid);
}

}  // namespace

std::uint32_t Register(Krell::Host& host, const Krell::VmIdentity& identity) {
  Krell::VmIdentity wanted = identity;
  if (const auto same = host.FindByBiosUuid(identity.biosUuid)) {
    if (wanted.cid == 0) wanted.cid = same->identity.cid;
    if (same->identity == wanted) return wanted.cid;
    host.Remove(same->identity.cid);
  }
  // What is left of a VM whose end nobody has told.
  if (wanted.cid != 0) RemoveIfThere(host, host.FindByCid(wanted.cid));
  for (const auto& path : {wanted.transport.path, wanted.transport.historyPath}) {
    if (!path.empty()) RemoveIfThere(host, host.FindByPath(path));
  }
  return host.Add(wanted).identity.cid;
}

void Unregister(Krell::Host& host, const std::string& biosUuid) {
  RemoveIfThere(host, host.FindByBiosUuid(biosUuid));
}

}  // namespace Tools

#include "tools/host/registration.h"

namespace Tools {

std::uint32_t Register(Krell::Host& host, const Krell::VmIdentity& identity) {
  Krell::VmIdentity wanted = identity;
  if (const auto same = host.FindByBiosUuid(identity.biosUuid)) {
    if (wanted.cid == 0) wanted.cid = same->identity.cid;
    if (same->identity == wanted) return wanted.cid;
    host.Remove(same->identity.cid);
  }
  if (wanted.cid != 0 && host.FindByCid(wanted.cid)) host.Remove(wanted.cid);
  return host.Add(wanted).identity.cid;
}

void Unregister(Krell::Host& host, const std::string& biosUuid) {
  if (const auto vm = host.FindByBiosUuid(biosUuid)) host.Remove(vm->identity.cid);
}

}  // namespace Tools

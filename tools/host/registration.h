#pragma once

#include <string>

#include "platform/krell/standin/host.h"

namespace Tools {

// Makes the host's list say that this VM runs, and no other one with its cid, its BIOS uuid or its
// paths. What is so
// already stays untouched. A cid of 0 is whatever the VM has, or gets. Gives the cid; throws HostError.
std::uint32_t Register(Krell::Host& host, const Krell::VmIdentity& identity);
// Makes the list not have the VM with this BIOS uuid.
void Unregister(Krell::Host& host, const std::string& biosUuid);

}  // namespace Tools

#pragma once

#include <string>

#include "platform/krell/standin/host.h"

namespace Tools {

// Asks a QEMU for the VM that it runs, by its QMP socket (https://qemu.org, "QEMU Machine Protocol"): uuid,
// name and cid. Throws std::runtime_error if there is no such VM, or no whole answer within five seconds.
Krell::VmIdentity AskQemu(const std::string& socketPath);

}  // namespace Tools

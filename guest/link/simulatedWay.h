#pragma once

#include <cstdint>
#include <memory>

#include "guest/link/channel.h"

namespace GuestLink {

// Of a program that stands for one in the VM with this cid, on the host that KRELL_HOST_DIR names. Throws
// Krell::HostError if no such VM runs there.
std::unique_ptr<Way> MakeSimulatedWay(std::uint32_t cid);

}  // namespace GuestLink

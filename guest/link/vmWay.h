#pragma once

#include <memory>
#include <string>

#include "guest/link/channel.h"

namespace GuestLink {

// Of a program inside a real VM: "vsock", "serial", or either with an empty word.
std::unique_ptr<Way> MakeVmWay(const std::string& transport);

}  // namespace GuestLink

#pragma once

#include <memory>
#include <string>

#include "guest/tools/channel.h"

namespace GuestTools {

// Of a program inside a real VM: "vsock", "serial", or either with an empty word.
std::unique_ptr<Way> MakeVmWay(const std::string& transport);

}  // namespace GuestTools

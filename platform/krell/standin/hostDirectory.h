#pragma once

#include <string>

#include "platform/krell/standin/descriptor.h"

namespace Krell {

// Opens the directory of a host for reading, and makes it with mode 0700 if it is missing. Throws HostError
// if it isn't this user's alone, or if others could put another one in its place: its path leads through a
// link, or through a folder that anyone can write and that isn't sticky.
Descriptor OpenHostDirectory(const std::string& directory);

}  // namespace Krell

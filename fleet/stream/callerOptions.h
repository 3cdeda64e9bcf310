#pragma once

#include <string>

#include "fleet/stream/call.h"
#include "tools/arguments.h"

namespace Fleet {

// The options by which every program of the fleet is told its daemon, who calls it and how VMs are named.
// Gives the one of the token's file.
Tools::Option AddCallerOptions(Tools::Command& command, Caller& caller, std::string& vmIdType);

}  // namespace Fleet

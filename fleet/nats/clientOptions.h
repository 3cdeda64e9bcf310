#pragma once

#include <vector>

#include "fleet/nats/natsOptions.h"
#include "tools/arguments.h"

namespace Fleet {

// The options that say who this client of NATS is and whom it trusts; gives them. The servers' option has a
// name of its own in each program.
std::vector<Tools::Option> AddClientOptions(Tools::Command& command, NatsOptions& options);

}  // namespace Fleet

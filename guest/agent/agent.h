#pragma once

#include "guest/agent/configuration.h"
#include "guest/agent/keeping/store.h"
#include "guest/link/channel.h"

namespace GuestAgent {

// The agent: one thread that waits for local programs, the host and the clock. Serves until SIGTERM or
// SIGINT, which the caller has blocked. Throws std::exception if the socket for local programs can't be had.
void Serve(const Configuration& configuration, GuestLink::Way& way, const Clock& clock);

}  // namespace GuestAgent

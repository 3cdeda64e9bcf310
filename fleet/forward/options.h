#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "fleet/forward/makeStream.h"
#include "fleet/nats/natsOptions.h"
#include "fleet/stream/call.h"

namespace Fleet {

struct ForwardOptions {
  Caller caller;
  Wanted wanted;  // pastSeconds: of a start without a state
  NatsOptions nats;
  std::string prefix = "hesper";
  std::string host;
  std::string stateFile = "/var/lib/hesper-forward/state";
  std::chrono::seconds mostGap{3600};
  bool makeStream = false;
  StreamShape stream;
};

// Gives the status to end with if there is nothing more to do.
std::optional<int> ReadForwardOptions(int argc, char** argv, ForwardOptions& options);

}  // namespace Fleet

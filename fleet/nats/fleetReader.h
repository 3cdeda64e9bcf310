#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "fleet/nats/natsOptions.h"
#include "fleet/stream/element.h"

namespace Fleet {

// Empty lists stand for everything.
struct FleetWanted {
  std::vector<std::string> hosts;
  std::vector<std::string> vms;
  std::vector<std::string> topics;            // prefixes, in whole components
  std::optional<std::chrono::seconds> since;  // nothing: what comes from now on
};

// Gives what the stream has, in its order, to `take` on the calling thread until that returns false or a stop
// is asked for, which is seen within a second. After a lost connection it goes on behind the last one that
// was taken, for as long as it takes. What isn't a publication under its host's own subject is left out, with
// a line in the log. Throws NatsFault when it can't begin: no server, no such stream, no permission.
void ReadFleet(const NatsOptions& options, const std::string& prefix, const std::string& stream,
               const FleetWanted& wanted, const std::stop_token& stop,
               const std::function<bool(const std::string& host, Element&&)>& take);

}  // namespace Fleet

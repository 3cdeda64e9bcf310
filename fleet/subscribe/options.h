#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fleet/nats/natsOptions.h"
#include "fleet/stream/call.h"

namespace Fleet {

struct SubscribeOptions {
  Caller caller;
  Wanted wanted;
  std::uint64_t count = 0;  // 0: no end
  bool follow = false;
  bool text = false;  // else JSON

  // Of a fleet's stream; it is read if there are servers.
  NatsOptions nats;
  std::string prefix = "hesper";
  std::string stream = "HESPER";
  std::vector<std::string> hosts;
  std::optional<std::chrono::seconds> since;
};

// Gives the status to end with, or nothing when there is something to do.
std::optional<int> ReadSubscribeOptions(int argc, char** argv, SubscribeOptions& options);

}  // namespace Fleet

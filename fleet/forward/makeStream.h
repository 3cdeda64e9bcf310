#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "fleet/nats/natsOptions.h"

namespace Fleet {

struct StreamShape {
  std::string name = "HESPER";
  std::int64_t replicas = 3;
  std::chrono::seconds keep{24 * 3600};
  std::int64_t keepBytes = 0;  // 0: no bound but the server's
  std::chrono::seconds duplicates{2 * 3600};
};

// Makes the stream that takes all subjects below the prefix, or gives the one that is there this shape. Gives
// a line that says what was done. Throws NatsFault.
std::string MakeStream(const NatsOptions& options, const std::string& prefix, const StreamShape& shape);

}  // namespace Fleet

#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "framework/transport/protocolHandlerSpec.h"

namespace Mirel::Transport::PicoHttp {

struct ServerConfig {
  // Deadlines of each single read and write on a connection.
  std::chrono::nanoseconds readTimeout = std::chrono::minutes(20);
  std::chrono::nanoseconds writeTimeout = std::chrono::minutes(30);
  // Takes the place of the limit in `spec`.
  std::uint64_t httpBodySizeLimitInBytes = 2500000;
  Http::ProtocolHandlerSpec spec;
};

std::ostream& operator<<(std::ostream& out, const ServerConfig& config);

// In the largest unit that is not zero, such as "30 minutes" or "1 minutes and 5 seconds".
std::string DurationText(std::chrono::nanoseconds duration);

}  // namespace Mirel::Transport::PicoHttp

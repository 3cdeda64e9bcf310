#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

#include "framework/transport/answer/protocolHandlerSpec.h"
#include "framework/transport/connection/keepAlive.h"

namespace Mirel::Asio {
class ConnectionTable;
}

namespace Mirel::Transport::PicoHttp {

struct ServerConfig {
  // Deadlines of each single read and write on a connection.
  std::chrono::nanoseconds readTimeout = std::chrono::minutes(20);
  std::chrono::nanoseconds writeTimeout = std::chrono::minutes(30);
  // Takes the place of the limit in `spec`.
  std::uint64_t httpBodySizeLimitInBytes = 2500000;
  // Descriptors that the connections leave to the rest of the process; 0 leaves none.
  std::size_t descriptorReserve = 64;
  // What the bodies of all requests in flight may take together.
  std::uint64_t bodyBudgetInBytes = std::uint64_t{64} << 20;
  Asio::KeepAlive keepAlive;
  // Where the connections are entered; the server makes a table of its own if it's null.
  std::shared_ptr<Asio::ConnectionTable> connections;
  Http::ProtocolHandlerSpec spec;
};

std::ostream& operator<<(std::ostream& out, const ServerConfig& config);

// In the largest unit that is not zero, such as "30 minutes" or "1 minutes and 5 seconds".
std::string DurationText(std::chrono::nanoseconds duration);

}  // namespace Mirel::Transport::PicoHttp

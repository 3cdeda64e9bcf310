#pragma once

#include <chrono>

namespace Mirel::Asio {

// How long one read and one write on a connection may take.
struct IOTimeouts {
  std::chrono::nanoseconds readTimeout;
  std::chrono::nanoseconds writeTimeout;
};

}  // namespace Mirel::Asio

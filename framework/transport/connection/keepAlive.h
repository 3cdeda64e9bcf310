#pragma once

#include <chrono>

#include "framework/transport/connection/ioTypes.h"

namespace Mirel::Asio {

// How the kernel finds out that the peer of an idle connection has gone (RFC 1122, 4.2.3.6): by probes, the
// first one after `idle`. A peer that has only finished sending answers them; for one that has closed, its
// kernel answers for another minute. So a descriptor comes back within two minutes.
struct KeepAlive {
  std::chrono::seconds idle{30};
  std::chrono::seconds interval{10};
  int probes = 3;

  // A socket that refuses the options is served without them.
  void Apply(TcpSocket& socket) const;
};

}  // namespace Mirel::Asio

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "testing/childProcess.h"

namespace Testing {

// The bridge of the test host. It leaves this machine's own vsock alone.
class Bridge {
 public:
  // Guests connect to this port, which is the daemon's.
  explicit Bridge(std::uint32_t port) : port_(port) { Start(); }

  // Requires: it doesn't run.
  void Start();
  // Ends it by force.
  void Kill() { process_.reset(); }
  std::uint32_t port() const { return port_; }
  ChildProcess* operator->() { return &*process_; }

 private:
  const std::uint32_t port_;
  std::optional<ChildProcess> process_;
};

// The bridge as it is started, whether or not it can.
std::vector<std::string> BridgeCommand(std::uint32_t port);

}  // namespace Testing

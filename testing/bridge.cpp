#include "testing/bridge.h"

#include <stdexcept>
#include <string>
#include <vector>

#include "testing/daemon.h"

namespace Testing {

std::vector<std::string> BridgeCommand(std::uint32_t port) {
  return {HESPER_BRIDGE_PROGRAM, "--no-vsock", "--vsock-port",
          std::to_string(port),  "--host-dir", SharedHost().Directory()};
}

void Bridge::Start() {
  process_.emplace(BridgeCommand(port_));
  if (!process_->WaitForLog("Carries packets")) {
    throw std::runtime_error("the bridge does not start:\n" + process_->Log());
  }
}

}  // namespace Testing

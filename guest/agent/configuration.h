#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "guest/agent/configurationFault.h"
#include "guest/agent/intake/allowance.h"
#include "guest/agent/intake/permissions.h"
#include "guest/agent/keeping/store.h"
#include "guest/link/channel.h"

namespace GuestAgent {

// What an administrator can set; hesper-guestd.toml(5) has the keys.
struct Configuration {
  std::string socketPath = "/run/hesper/guest.sock";
  std::string storePath = "/var/lib/hesper/guest/store.db";
  Store::Bounds bounds;
  std::size_t waitingItems = 10000;
  Allowance::Rates rates;
  // Empty for vsock, or else virtio-serial.
  std::string transport;
  GuestLink::LinkOptions link;
  bool nodeMetrics = true;
  std::chrono::seconds metricsInterval{15};
  std::string textFolder = "/var/lib/hesper/textfile";
  std::chrono::seconds statsInterval{60};
  std::vector<Rule> rules = StandardRules();
};

// Reads a TOML 1.0 text; name is that of its file. Whatever it doesn't know is a fault. Throws
// ConfigurationFault.
Configuration ReadConfiguration(std::string_view text, const std::string& name);
// Reads a file.
Configuration LoadConfiguration(const std::string& path);

}  // namespace GuestAgent

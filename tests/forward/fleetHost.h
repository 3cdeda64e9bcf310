#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "fleet/nats/natsOptions.h"
#include "testing/childProcess.h"
#include "testing/daemon.h"
#include "testing/temporaryFolder.h"

namespace Testing {

// A daemon that comes back with the same ports.
class ReturningDaemon final {
 public:
  explicit ReturningDaemon(std::uint32_t vmPort);
  void Start();
  void Kill() { process_.reset(); }

  std::uint16_t port() const { return port_; }
  std::uint32_t vmPort() const { return vmPort_; }

 private:
  const std::uint16_t port_;
  const std::uint32_t vmPort_;
  TemporaryFolder folder_;
  std::optional<ChildProcess> process_;
};

// hesper-forward with a token and a state of its own, which it keeps when it is started again.
class ForwarderProcess final {
 public:
  // More options than those of the daemon and the state.
  ForwarderProcess(std::uint16_t daemonPort, std::vector<std::string> options);

  void Start();
  // Until it has subscribed.
  bool StartAndWait();
  void Kill() { process_.reset(); }
  ChildProcess& process() { return *process_; }
  std::string StateFile() const { return folder_ / "state"; }
  std::string State() const { return ReadFile(StateFile()); }

  // Of a caller with that entitlement.
  static std::string TokenFile(const TemporaryFolder& folder, const std::string& entitlement);

 private:
  TemporaryFolder folder_;
  std::vector<std::string> command_;
  std::optional<ChildProcess> process_;
};

// All that a stream has, read on a thread of its own from an hour ago on: how often each topic came.
class FleetCollector final {
 public:
  explicit FleetCollector(const Fleet::NatsOptions& options);

  // Whether all of them come in time.
  bool WaitFor(const std::set<std::string>& topics) const;
  std::map<std::string, int> Counts() const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, int> counts_;
  std::jthread thread_;
};

}  // namespace Testing

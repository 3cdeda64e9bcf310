#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

#include "fleet/nats/natsOptions.h"
#include "testing/childProcess.h"
#include "testing/temporaryFolder.h"

namespace Testing {

inline constexpr const char kNatsServer[] = "/usr/sbin/nats-server";

// Whether Debian's server is there; `./dev test fleet` installs it.
bool HasNatsServer();

#define SKIP_WITHOUT_NATS() \
  if (!HasNatsServer()) GTEST_SKIP() << "no " << kNatsServer << ": ./dev test fleet installs it"

// A server with JetStream on a free port, which it keeps when it is started again, as its store.
class NatsServer final {
 public:
  // More of the configuration file.
  explicit NatsServer(const std::string& configuration = "");

  void Start();
  void Kill();
  // Reads the configuration again.
  void Reload(const std::string& configuration);

  std::string Url(const std::string& scheme = "nats") const;
  Fleet::NatsOptions Options() const { return {.servers = {Url()}}; }
  // With one replica, and subjects "hesper.>".
  void MakeStream() const;
  // How many messages it has.
  std::uint64_t Messages() const;

 private:
  void WriteConfiguration(const std::string& configuration) const;

  const TemporaryFolder folder_;
  const std::uint16_t port_;
  std::optional<ChildProcess> process_;
};

}  // namespace Testing

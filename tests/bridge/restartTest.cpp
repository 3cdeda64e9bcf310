#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/bridge/road.h"

namespace {

using namespace Testing;

TEST(RestartTest, TheBridgesCostsGuestsAReconnect) {
  Road road;
  HybridVm hybrid(road.Choice("hybrid"));
  SerialVm serial(road.Choice("serial"));
  auto call = hybrid.Connect(road.port());
  auto line = serial.Connect();
  auto subscriber = road.Subscribe(R"(,"topic_prefixes":["good"])");
  ExpectServed(call, subscriber, 1);
  ExpectServed(line, subscriber, 2);
  road.bridge.Kill();
  EXPECT_TRUE(call.Closes());
  EXPECT_TRUE(line.Closes());
  EXPECT_FALSE(hybrid.TryConnect(road.port()));
  road.bridge.Start();
  call = hybrid.Connect(road.port());
  line = serial.Connect();
  ExpectServed(call, subscriber, 3);
  ExpectServed(line, subscriber, 4);
}

// A daemon that comes back with the same port for guests.
class ReturningDaemon {
 public:
  static constexpr std::uint32_t kVmPort = 9777;

  ReturningDaemon() : port_(FreePort()) { Start(); }
  void Start() {
    const auto file =
        folder_.Write("config", "<config><mirelPort>" + std::to_string(port_) + "</mirelPort><vmListenPort>" +
                                    std::to_string(kVmPort) + "</vmListenPort></config>");
    process_.emplace(std::vector<std::string>{NORNHESPERD_PROGRAM, file});
    if (!process_->WaitForLog("Running IO service...")) throw std::runtime_error(process_->Log());
  }
  void Kill() { process_.reset(); }

 private:
  const std::uint16_t port_;
  TemporaryFolder folder_;
  std::optional<ChildProcess> process_;
};

TEST(RestartTest, TheDaemonsCostsGuestsNothing) {
  SharedHost();
  TemporaryFolder folder;
  ReturningDaemon daemon;
  Bridge bridge(ReturningDaemon::kVmPort);
  HybridVm hybrid({"hybrid", folder / "hybrid"});
  SerialVm serial({"serial", folder / "serial"});
  auto call = hybrid.Connect(bridge.port());
  auto line = serial.Connect();
  std::uint64_t sequence = 0;
  for (int round = 0; round < 2; ++round) {
    ++sequence;
    EXPECT_EQ(call.Publish(Text(sequence)), GoodAcknowledgement(sequence));
    EXPECT_EQ(line.Publish(Text(sequence)), GoodAcknowledgement(sequence));
    daemon.Kill();
    for (std::uint64_t i = 1; i <= 3; ++i) {
      call.Send(Text(sequence + i));
      line.Send(Text(sequence + i));
    }
    EXPECT_FALSE(call.Receive(std::chrono::milliseconds(300)));
    daemon.Start();
    for (std::uint64_t i = 1; i <= 3; ++i) {
      ++sequence;
      EXPECT_EQ(call.Receive(), GoodAcknowledgement(sequence));
      EXPECT_EQ(line.Receive(), GoodAcknowledgement(sequence));
    }
  }
}

}  // namespace

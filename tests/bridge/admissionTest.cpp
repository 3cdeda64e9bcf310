#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/krell/standin/traffic.h"
#include "tests/bridge/road.h"

namespace {

using namespace Testing;

TEST(AdmissionTest, OnlyPrivilegedGuestsAreHeard) {
  Road road;
  const auto cid = [&] {
    HybridVm vm(road.Choice("plain", false));
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(vm.Connect(road.port()).Closes());
    vm.Stop();
    EXPECT_TRUE(Eventually([&] { return !vm.TryConnect(road.port()); }));
    return vm.cid();
  }();
  EXPECT_EQ(road.bridge->Logged("was refused: its sender is not privileged"), 1U) << road.bridge->Log();
  HybridVm trusted(road.Choice("plain", true, cid));
  EXPECT_EQ(trusted.Connect(road.port()).Publish(Text(1)), GoodAcknowledgement(1));
}

TEST(AdmissionTest, AHostHasOneBridge) {
  Road road;
  ChildProcess second(BridgeCommand(road.port()));
  EXPECT_EQ(second.Wait(), 1);
  EXPECT_EQ(second.Log(),
            "hesper-bridge: another process carries the packets of host " + SharedHost().Directory() + "\n");
  HybridVm vm(road.Choice("a"));
  EXPECT_EQ(vm.Connect(road.port()).Publish(Text(1)), GoodAcknowledgement(1));
}

// The fields of the VM's line in the list that administrators see.
std::vector<std::string> Listed(std::uint32_t cid) {
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(HESPER_HOST_PROGRAM " list", "r"), pclose);
  std::array<char, 1024> line;
  while (fgets(line.data(), line.size(), output.get()) != nullptr) {
    std::istringstream text(line.data());
    std::vector<std::string> fields;
    for (std::string field; text >> field;) fields.push_back(field);
    if (fields[0] == std::to_string(cid)) return fields;
  }
  return std::vector<std::string>(10);
}

TEST(AdmissionTest, TheListTellsWhatTheBridgeKnows) {
  Road road;
  HybridVm busy(road.Choice("busy"));
  HybridVm silent(road.Choice("silent"));
  const auto started = std::chrono::system_clock::now();
  auto stream = busy.Connect(road.port());
  auto other = busy.Connect(road.port());
  EXPECT_EQ(stream.Publish(Text(1)), GoodAcknowledgement(1));
  EXPECT_EQ(other.Publish(Text(2)), GoodAcknowledgement(2));
  const auto traffic = Krell::ReadTraffic(SharedHost());
  ASSERT_EQ(traffic.count(busy.cid()), 1U);
  const auto last = traffic.at(busy.cid()).lastPublication;
  ASSERT_TRUE(last);
  // It's told in milliseconds.
  EXPECT_GE(*last, started - std::chrono::milliseconds(1));
  EXPECT_LE(*last, std::chrono::system_clock::now());

  auto line = Listed(busy.cid());
  EXPECT_EQ(line[4], "2");
  EXPECT_EQ(line[5].size(), std::string_view("2026-11-25T00:00:00Z").size());
  EXPECT_EQ(line[9], "hybrid:" + busy.path());
  line = Listed(silent.cid());
  EXPECT_EQ(line[4] + line[5], "0-");
  { const auto gone = std::move(other); }
  EXPECT_TRUE(Eventually([&] { return Listed(busy.cid())[4] == "1"; }));
  road.bridge.Kill();
  line = Listed(busy.cid());
  EXPECT_EQ(line[4] + line[5], "--");
}

}  // namespace

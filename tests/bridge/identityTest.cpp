#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include "tests/bridge/road.h"

namespace {

using namespace Testing;

constexpr std::chrono::seconds kAtOnce{1};

TEST(IdentityTest, ConnectionsEndWithTheirVm) {
  Road road;
  HybridVm hybrid(road.Choice("hybrid"));
  SerialVm serial(road.Choice("serial"));
  auto call = hybrid.Connect(road.port());
  auto line = serial.Connect();
  EXPECT_EQ(call.Publish(Text(1)), GoodAcknowledgement(1));
  EXPECT_EQ(line.Publish(Text(1)), GoodAcknowledgement(1));
  hybrid.Stop();
  serial.Stop();
  EXPECT_TRUE(call.Closes(kAtOnce));
  EXPECT_TRUE(line.Closes(kAtOnce));
  EXPECT_FALSE(hybrid.TryConnect(road.port()));
}

TEST(IdentityTest, NothingOfTheOldVmIsToldUnderTheNewName) {
  Road road;
  auto subscriber = road.Subscribe();
  std::optional<HybridVm> old(road.Choice("old"));
  const auto cid = old->cid();
  auto pipelined = old->Connect(road.port());
  auto waiting = old->Connect(road.port());
  // Two pass, one is held, others wait unread or have begun.
  for (std::uint64_t i = 1; i <= 6; ++i) pipelined.Send(Text(i, "old"));
  waiting.SendBytes(waiting.Frame(Text(7, "old")).substr(0, 50));
  EXPECT_EQ(pipelined.Receive(), GoodAcknowledgement(1));
  old.reset();
  HybridVm successor({"new", road.Choice("old").path, true, cid});
  EXPECT_TRUE(pipelined.Closes(kAtOnce));
  auto stream = successor.Connect(road.port());
  waiting.SendBytes(waiting.Frame(Text(7, "old")).substr(50));
  EXPECT_TRUE(waiting.Closes(kAtOnce));
  for (std::uint64_t i = 1; i <= 3; ++i) EXPECT_EQ(stream.Publish(Text(i, "new")), GoodAcknowledgement(i));
  int ofTheNew = 0;
  while (ofTheNew < 3) {
    const auto element = subscriber.Next();
    const bool isNew = Tells(element, "topic", "new");
    EXPECT_TRUE(Tells(element, "mgr_vm_id", isNew ? "vm-new" : "vm-old")) << element;
    ofTheNew += isNew ? 1 : 0;
  }
}

TEST(IdentityTest, ChangesCostNobodyElse) {
  Road road;
  HybridVm good(road.Choice("good"));
  auto stream = good.Connect(road.port());
  auto subscriber = road.Subscribe(R"(,"topic_prefixes":["good"])");
  const auto churn = [&](int times) {
    for (int i = 0; i < times; ++i) {
      // Some have a guest that connects at once, and some stop before the bridge has seen them.
      HybridVm vm({"churn", road.Choice("churn").path, true, 77});
      if (i % 8 != 0) continue;
      if (auto guest = vm.TryConnect(road.port())) guest->Send(Text(1, "churn"));
    }
  };
  churn(500);
  ExpectServed(stream, subscriber, 1);
  const auto descriptors = road.bridge->Descriptors();
  const auto memory = road.bridge->ResidentBytes();
  std::atomic<bool> isOver{false};
  std::thread changes([&] {
    churn(10000);
    isOver = true;
  });
  for (std::uint64_t sequence = 2; !isOver; ++sequence) ExpectServed(stream, subscriber, sequence);
  changes.join();
  EXPECT_TRUE(Eventually([&] { return road.bridge->Descriptors() <= descriptors; }));
  if (SANITIZED) return;
  EXPECT_LE(road.bridge->ResidentBytes(), memory + (1 << 20));
}

}  // namespace

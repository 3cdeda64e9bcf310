#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "tests/bridge/road.h"

namespace {

using namespace Testing;
using std::chrono::steady_clock;

TEST(RateTest, NothingIsLostToIt) {
  Road road;
  HybridVm vm(road.Choice("a"));
  auto stream = vm.Connect(road.port());
  std::string frames;
  for (std::uint64_t i = 1; i <= 5; ++i) frames += stream.Frame(Text(i));
  const auto start = steady_clock::now();
  stream.SendBytes(frames);
  for (std::uint64_t i = 1; i <= 5; ++i) EXPECT_EQ(stream.Receive(), GoodAcknowledgement(i));
  // Two at once, and two a second.
  EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(1490));
}

TEST(RateTest, ConnectionsTakeTurns) {
  Road road;
  HybridVm vm(road.Choice("a"));
  auto greedy = vm.Connect(road.port());
  auto modest = vm.Connect(road.port());
  auto subscriber = road.Subscribe();
  for (std::uint64_t i = 0; i < 5; ++i) greedy.Send(Text(i, "greedy"));
  for (std::uint64_t i = 0; i < 2; ++i) modest.Send(Text(i, "modest"));
  std::string order;
  for (int i = 0; i < 7; ++i) order += Tells(subscriber.Next(), "topic", "greedy") ? 'g' : 'm';
  const auto first = order.find('m');
  EXPECT_LE(order.rfind('m') - first, 2U) << order;
  EXPECT_EQ(order.back(), 'g') << order;
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <list>
#include <string>
#include <vector>

#include "tests/bridge/road.h"

namespace {

using namespace Testing;

class BoundsTest : public ::testing::Test {
 protected:
  BoundsTest() { RaiseDescriptorLimit(); }

  // A connection with the largest frame, up to its last bytes.
  GuestStream Begin(const HybridVm& vm) {
    auto stream = vm.Connect(road.port());
    stream.SendBytes(stream.Frame(FilledText(1, "a", kLargest)).substr(0, kLargest - 10));
    return stream;
  }

  void Finish(GuestStream& stream) {
    stream.SendBytes(stream.Frame(FilledText(1, "a", kLargest)).substr(kLargest - 10));
  }

  Road road;
};

template <typename Streams>
std::size_t Taken(const Streams& streams) {
  return static_cast<std::size_t>(
      std::count_if(streams.begin(), streams.end(),
                    [](const GuestStream& stream) { return stream.IsTaken(std::chrono::milliseconds(0)); }));
}

TEST_F(BoundsTest, OfAGuestFourFramesAreKept) {
  HybridVm vm(road.Choice("a"));
  std::vector<GuestStream> streams;
  for (int i = 0; i < 16; ++i) streams.push_back(Begin(vm));
  ASSERT_TRUE(Eventually([&] { return Taken(streams) == 4; }));
  HybridVm other(road.Choice("b"));
  auto stream = other.Connect(road.port());
  EXPECT_EQ(stream.Publish(Text(1)), GoodAcknowledgement(1));
  EXPECT_EQ(stream.Publish(Text(2)), GoodAcknowledgement(2));
  EXPECT_EQ(Taken(streams), 4U);
  // All come in their turn.
  std::size_t finished = 0;
  for (std::size_t rounds = 0; finished < 6 && rounds < 16; ++rounds) {
    ASSERT_TRUE(Eventually([&] { return Taken(streams) == 4; }));
    const auto taken = std::find_if(streams.begin(), streams.end(), [](const auto& candidate) {
      return candidate.IsTaken(std::chrono::milliseconds(0));
    });
    Finish(*taken);
    EXPECT_EQ(taken->Receive(), GoodAcknowledgement(1));
    streams.erase(taken);
    ++finished;
  }
}

TEST_F(BoundsTest, OfManyGuestsOneFrameEachIsKept) {
  constexpr std::size_t kBound = 512;
  constexpr std::size_t kVms = kBound / 4 + 12;
  std::list<HybridVm> vms;
  std::vector<std::vector<GuestStream>> streams;
  for (std::size_t i = 0; i < kVms; ++i) {
    vms.emplace_back(road.Choice(std::to_string(i)));
    auto& own = streams.emplace_back();
    for (int connection = 0; connection < 5; ++connection) own.push_back(Begin(vms.back()));
    const std::size_t expected = i < kBound / 4 ? 4 : 1;
    ASSERT_TRUE(Eventually([&] { return Taken(own) == expected; })) << i;
  }
  HybridVm other(road.Choice("other"));
  auto stream = other.Connect(road.port());
  auto second = other.Connect(road.port());
  EXPECT_EQ(stream.Publish(Text(1)), GoodAcknowledgement(1));
  EXPECT_EQ(second.Publish(Text(2)), GoodAcknowledgement(2));
  for (std::size_t i = 0; i < kVms; ++i) EXPECT_EQ(Taken(streams[i]), i < kBound / 4 ? 4U : 1U) << i;
}

TEST_F(BoundsTest, AnIdleGuestIsSmall) {
  constexpr std::size_t kVms = SANITIZED ? 100 : 3000;
  const auto text = FilledText(1, "a", kLargest);
  HybridVm first(road.Choice("first"));
  EXPECT_EQ(first.Connect(road.port()).Publish(text), GoodAcknowledgement(1));
  const auto before = road.bridge->ResidentBytes();
  std::list<HybridVm> vms;
  std::list<GuestStream> streams;
  for (std::size_t i = 0; i < kVms; ++i) {
    vms.emplace_back(road.Choice(std::to_string(i)));
    streams.push_back(vms.back().Connect(road.port()));
  }
  const auto publish = [&](const std::string& published) {
    for (auto& stream : streams) stream.Send(published);
    for (auto& stream : streams) ASSERT_EQ(stream.Receive(), GoodAcknowledgement(1));
  };
  publish(Text(1));
  if (!SANITIZED) {
    EXPECT_LE((road.bridge->ResidentBytes() - before) / kVms, 8192U);
  }
  // What all of them begin at once is kept, and let go.
  publish(text);
  if (!SANITIZED) {
    EXPECT_TRUE(Eventually([&] { return road.bridge->ResidentBytes() <= std::size_t{48} << 20; }))
        << road.bridge->ResidentBytes();
  }
}

}  // namespace

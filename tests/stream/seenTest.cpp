#include "fleet/stream/seen.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "fleet/stream/lateVms.h"

namespace {

using namespace std::chrono_literals;

Fleet::Element Numbered(int number) {
  Fleet::Element element;
  element.payload = std::to_string(number);
  return element;
}

TEST(SeenTest, KeepsTheNewestAlone) {
  constexpr std::size_t kMost = 100;
  Fleet::Seen seen(kMost);
  for (int i = 0; i != 1000; ++i) {
    EXPECT_TRUE(seen.Add(Numbered(i)));
    EXPECT_LE(seen.size(), kMost);
  }
  for (int i = 900; i != 1000; ++i) EXPECT_FALSE(seen.Add(Numbered(i))) << i;
  EXPECT_TRUE(seen.Add(Numbered(899)));
  EXPECT_TRUE(seen.Add(Numbered(900)));
}

TEST(LateVmsTest, AreAskedOnceAndInBatchesThatARequestHolds) {
  const Fleet::LateVms::Time start{};
  Fleet::LateVms late(5s);
  EXPECT_FALSE(late.Due());
  for (int i = 0; i != 1500; ++i) late.HeardLive(std::to_string(i), start + i * 1ms);
  late.HeardHistory("7");
  EXPECT_EQ(late.Due(), start + 5s);
  const auto first = late.TakeBatch(start + 6s);
  EXPECT_EQ(first.size(), 1024);
  EXPECT_EQ(first[7], "8");
  EXPECT_EQ(late.Due(), start + 6s);
  EXPECT_EQ(late.TakeBatch(start + 7s).size(), 475);
  EXPECT_FALSE(late.Due());
  late.HeardLive("3", start + 8s);
  EXPECT_FALSE(late.Due());
  late.Return({"3"}, start + 8s);
  EXPECT_EQ(late.Due(), start + 13s);
  late.Reset();
  EXPECT_FALSE(late.Due());
  late.HeardLive("3", start + 20s);
  EXPECT_EQ(late.TakeBatch(start + 25s), std::vector<std::string>{"3"});
}

TEST(LateVmsTest, AreBounded) {
  Fleet::LateVms late(0s);
  for (int i = 0; i != 100000; ++i) late.HeardLive(std::to_string(i), {});
  std::size_t count = 0;
  while (late.Due()) count += late.TakeBatch({}).size();
  EXPECT_EQ(count, 65536);
}

}  // namespace

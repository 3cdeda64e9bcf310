#include "fleet/stream/duration.h"

#include <gtest/gtest.h>

namespace {

using Fleet::ReadDuration;
using std::chrono::seconds;

TEST(DurationTest, IsANumberWithItsUnit) {
  EXPECT_EQ(ReadDuration("0"), seconds(0));
  EXPECT_EQ(ReadDuration("90"), seconds(90));
  EXPECT_EQ(ReadDuration("90s"), seconds(90));
  EXPECT_EQ(ReadDuration("10m"), seconds(600));
  EXPECT_EQ(ReadDuration("2h"), seconds(7200));
  EXPECT_EQ(ReadDuration("3650d"), Fleet::kLongestDuration);
}

TEST(DurationTest, IsNothingElse) {
  for (const char* text : {"", "s", "-1", "+1", " 1", "1 s", "1.5h", "1w", "1hs", "1M", "0x10", "3651d",
                           "4294967295d", "4294967296", "99999999999999999999"}) {
    EXPECT_FALSE(ReadDuration(text)) << text;
  }
}

}  // namespace

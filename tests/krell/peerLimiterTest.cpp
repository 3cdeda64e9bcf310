#include "platform/krell/standin/peerLimiter.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Krell::PeerLimiter;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kStart = 1000 * kSecond;

int Taken(PeerLimiter& limiter, std::uint32_t cid, std::int32_t rate, std::int64_t now, int packets) {
  int taken = 0;
  for (int i = 0; i < packets; ++i) taken += limiter.Take(cid, rate, now) ? 1 : 0;
  return taken;
}

class PeerLimiterTest : public testing::Test {
 protected:
  // All zeros, as the file of an endpoint begins.
  std::unique_ptr<PeerLimiter> limiter_ = std::make_unique<PeerLimiter>();
};

TEST_F(PeerLimiterTest, BucketIsFullAtFirstAndFillsAtTheRate) {
  EXPECT_EQ(Taken(*limiter_, 5, 2, kStart, 10), 2);
  EXPECT_EQ(limiter_->Delay(5, 2, kStart), kSecond / 2);
  EXPECT_EQ(limiter_->Delay(5, 2, kStart + kSecond / 2 - 1), 1);
  EXPECT_EQ(limiter_->Delay(5, 2, kStart + kSecond / 2), 0);
  EXPECT_EQ(Taken(*limiter_, 5, 2, kStart + kSecond / 2, 10), 1);
  // However long it is quiet, it gets no more than the bucket.
  EXPECT_EQ(Taken(*limiter_, 5, 2, kStart + 100 * kSecond, 10), 2);
  EXPECT_EQ(Taken(*limiter_, 6, 3, kStart, 10), 3);
}

TEST_F(PeerLimiterTest, PeersDoNotShare) {
  for (std::uint32_t cid = 3; cid < 3003; ++cid) {
    EXPECT_EQ(limiter_->Delay(cid, 2, kStart), 0);
    EXPECT_EQ(Taken(*limiter_, cid, 2, kStart, 3), 2) << cid;
  }
  for (std::uint32_t cid = 3; cid < 3003; ++cid) EXPECT_GT(limiter_->Delay(cid, 2, kStart), 0) << cid;
}

TEST_F(PeerLimiterTest, ForgetsQuietPeersForNewOnesOnly) {
  // Far more cids than there is room for, as VMs come and go.
  for (std::uint32_t cid = 1; cid < 300000; ++cid) {
    const std::int64_t now = kStart + cid * (kSecond / 1000);
    ASSERT_EQ(Taken(*limiter_, cid, 2, now, 3), 2) << cid;
    ASSERT_TRUE(cid <= 100 || limiter_->Delay(cid - 100, 2, now) > 0) << cid;
  }
}

}  // namespace

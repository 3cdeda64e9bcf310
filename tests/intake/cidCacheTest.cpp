#include "apps/nornhesperd/cidCache.h"

#include <gtest/gtest.h>

#include "apps/nornhesperd/vsock.h"
#include "tests/krell/testHost.h"

namespace {

using KrellTest::TestHost;
using NornHesper::CidCache;
using NornHesper::CidInfoPtr;
using NornHesper::Result;

constexpr int64_t kSecond = 1'000'000;
int64_t now = 0;
int64_t Now() noexcept {
  return now;
}

class CidCacheTest : public testing::Test {
 protected:
  CidInfoPtr Find(unsigned cid) {
    CidInfoPtr info;
    const Result result = cache_.Lookup(info, cid);
    EXPECT_FALSE(result.HasErrors()) << result.ToString();
    return info;
  }

  // The VMs' names, each with a blank behind it, and the outcome.
  std::string Collect() {
    std::vector<CidInfoPtr> infos;
    const Result result = cache_.Collect(infos);
    std::string text;
    for (const CidInfoPtr& info : infos) {
      text += info->biosUuid.substr(5) + " ";
    }
    return text + result.ToString();
  }

  TestHost host_;
  CidCache cache_{&Now};
};

// An answer from the cache is the very object that an earlier look-up gave.

TEST_F(CidCacheTest, BelievesTheKernelAboutAReusedCid) {
  host_.AddVm(5, "old");
  const CidInfoPtr old = Find(5);
  EXPECT_EQ(std::tie(old->cid, old->vmUuid, old->mgrVmId), std::make_tuple(5U, "vm-old", "mgr-old"));
  EXPECT_EQ(Find(5), old);
  host_->Remove(5);
  host_.AddVm(5, "new");
  EXPECT_EQ(Find(5)->biosUuid, "bios new");
  EXPECT_EQ(old->biosUuid, "bios old");  // holders of the old identity keep it
}

TEST_F(CidCacheTest, UnusedEntriesExpireBehindTheirLastInstant) {
  host_.AddVm(5, "five");
  host_.AddVm(6, "six");
  const CidInfoPtr five = Find(5);
  const CidInfoPtr six = Find(6);
  now += 600 * kSecond;
  EXPECT_EQ(Find(5), five);
  now += 1;
  EXPECT_NE(Find(6), six);
  now += 600 * kSecond - 1;
  EXPECT_EQ(Find(5), five);  // counted from the last use
}

TEST_F(CidCacheTest, TrimsTheLeastRecentlyUsedBeforeItInserts) {
  cache_.SetBounds(2, 600);
  host_.AddVm(1003, "3");
  host_.AddVm(1004, "4");
  host_.AddVm(1005, "5");
  const CidInfoPtr three = Find(1003);
  const CidInfoPtr four = Find(1004);
  EXPECT_EQ(Find(1003), three);
  const CidInfoPtr five = Find(1005);  // one more than the bound
  const CidInfoPtr newFour = Find(1004);
  EXPECT_NE(newFour, four);  // it was the oldest, and gone before it was looked up
  EXPECT_NE(Find(1003), three);
  EXPECT_EQ(Find(1004), newFour);
  cache_.SetBounds(0, 600);
  EXPECT_NE(Find(1004), newFour);
}

TEST_F(CidCacheTest, CollectsKnownVmsInTheKernelsOrder) {
  host_.AddVm(9, "nine");
  host_.AddVm(5, "five");
  host_.AddVm(7, "seven");
  EXPECT_EQ(Collect(), "error(s): (none)");
  Find(7);
  Find(9);
  EXPECT_EQ(Collect(), "nine seven error(s): (none)");
  host_->Remove(9);
  host_.AddVm(9, "other");
  EXPECT_EQ(Collect(), "seven error(s): (none)");
  // The later VM of the same BIOS uuid takes the uuid away with it.
  host_.AddVm(3, "same");
  host_.AddVm(4, "same");
  host_->Remove(4);
  EXPECT_EQ(Collect(), "seven error(s): {65544, failed to map uuid bios same to cid}");
  // Only the last VM's outcome counts.
  host_.AddVm(8, "eight");
  EXPECT_EQ(Collect(), "seven error(s): (none)");
}

TEST(CidCacheFaultTest, NamesTheStepThatFailed) {
  const std::pair<const char*, const char*> cases[] = {
      {"socket EMFILE 1", "{65541, failed to create datagram vsocket, Too many open files}"},
      {"connect ENODEV 1", "{65542, failed to connect datagram vsocket to cid 5, No such device}"},
      {"getsockopt 3 ENOTCONN 1",
       "{65543, failed to get cartel id from cid 5, Transport endpoint is not connected}"}};
  {
    const TestHost host;
    GetVsockAddressFamily();  // found before the faults
  }
  for (const auto& [fault, record] : cases) {
    TestHost host(std::string(fault) + "\n");
    host.AddVm(5, "five");
    CidInfoPtr info;
    CidCache cache;
    EXPECT_EQ(cache.Lookup(info, 5).ToString(),
              std::string("error(s): ") + record + ", {65540, failed to retrieve info for cid 5}");
    EXPECT_FALSE(cache.Lookup(info, 5).HasErrors());  // a failure is not remembered
  }
}

}  // namespace

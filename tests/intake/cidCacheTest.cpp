#include "apps/nornhesperd/cidCache.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdint>
#include <filesystem>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/vsock.h"
#include "platform/corvane/fileDescriptor.h"
#include "testing/testHost.h"

namespace {

using NornHesper::CidCache;
using NornHesper::CidInfoPtr;
using NornHesper::Result;
using Testing::TestHost;

constexpr std::int64_t kSecond = 1'000'000;
std::int64_t now = 0;
std::int64_t Now() noexcept {
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

  // The VMs' names, each with a blank after it, and the outcome.
  std::string Collect() {
    std::vector<CidInfoPtr> infos;
    const Result result = cache_.Collect(infos);
    std::string text;
    for (const CidInfoPtr& info : infos) text += info->biosUuid.substr(5) + " ";
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

// The settings are those of the tests' environment: one VM, ten minutes.
TEST_F(CidCacheTest, SettingsBoundTheProcessesCache) {
  CidCache& cache = NornHesper::GlobalContext::Get()->GetCidCache();
  CidInfoPtr first;
  CidInfoPtr other;
  CidInfoPtr again;
  for (const unsigned cid : {3, 4, 5}) {
    host_.AddVm(cid);
    cache.Lookup(cid == 3 ? first : other, cid);
  }
  EXPECT_FALSE(cache.Lookup(again, 3).HasErrors());
  EXPECT_NE(again, first);
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

// Lets so many more descriptors be opened for the life of the object.
class DescriptorsLeft {
 public:
  explicit DescriptorsLeft(rlim_t count) {
    getrlimit(RLIMIT_NOFILE, &before_);
    const Corvane::FileDescriptor next(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const rlimit limit{static_cast<rlim_t>(next.Get()) + count, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  DescriptorsLeft(const DescriptorsLeft&) = delete;
  DescriptorsLeft& operator=(const DescriptorsLeft&) = delete;
  ~DescriptorsLeft() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

// A kernel whose information tree has lost what its other parts still know.
TEST_F(CidCacheTest, NamesTheReadThatFailed) {
  const std::string folder = host_->Directory();
  const auto record = [](const std::string& text) { return "error(s): {65545, failed to get " + text + "}"; };
  const auto lookUp = [&](unsigned cid) {
    CidInfoPtr info;
    const std::string text = cache_.Lookup(info, cid).ToString();
    return text.substr(0, text.find(", {65540"));
  };
  const auto five = host_.AddVm(5);
  const auto six = host_.AddVm(6);
  const std::string leader = std::to_string(five.leaderId);
  const std::string cartel = std::to_string(six.cartelId);
  // Its leader is still listed.
  std::filesystem::remove(folder + "/leader/" + leader);
  std::filesystem::create_symlink("99", folder + "/leader/" + leader);
  const std::string noUuids = record("uuids from vmm leader id " + leader + ", sysinfo node 786 instance " +
                                     leader + ": no such VMM");
  EXPECT_EQ(lookUp(5), noUuids);
  std::filesystem::remove(folder + "/cartel/" + cartel);
  EXPECT_EQ(lookUp(6), record("vmm leader id from cartel id " + cartel + ", sysinfo node 1299 instance " +
                              cartel + ": no such cartel"));
  host_->Remove(6);
  EXPECT_EQ(Collect(), noUuids);
  std::filesystem::remove_all(folder + "/leader");
  EXPECT_EQ(Collect(), record("vmm id list, sysinfo node 783 instance 0: cannot read leader: "
                              "No such file or directory"));
}

TEST_F(CidCacheTest, LackOfDescriptorsEvictsNobody) {
  if (SANITIZED) GTEST_SKIP() << "the sanitizer's own checks need descriptors";
  host_.AddVm(5, "five");
  host_.AddVm(6, "six");
  const CidInfoPtr five = Find(5);
  for (const rlim_t left : {0, 1, 2, 3, 4, 5}) {
    {
      const DescriptorsLeft few(left);
      CidInfoPtr info;
      const bool found = !cache_.Lookup(info, 5).HasErrors();
      // How many it takes is the stand-in's business.
      EXPECT_TRUE(found ? left > 0 : left < 5) << left << " descriptors";
      EXPECT_EQ(info, found ? five : nullptr);
      cache_.Lookup(info, 6);
      Collect();
    }
    EXPECT_EQ(Find(5), five) << left << " descriptors";
    EXPECT_EQ(Find(6)->biosUuid, "bios six");
  }
}

// An entry that can't be checked is not believed either; only a kernel without the device refutes it.
TEST(CidCacheFaultTest, ShortageIsNoMismatch) {
  auto* logger = NornHesper::GlobalContext::Get()->GetLogger();
  const std::pair<const char*, bool> cases[] = {{"open EMFILE", false},
                                                {"open ENFILE", false},
                                                {"ioctl 1991 ENOMEM", false},
                                                {"open EACCES", true},
                                                {"ioctl 1991 EIO", true}};
  for (const auto& [fault, evicts] : cases) {
    SCOPED_TRACE(fault);
    TestHost host(std::string(fault) + " 1\n");
    host.AddVm(5, "old");
    CidCache cache;
    CidInfoPtr info;
    cache.Lookup(info, 5);
    host->Remove(5);
    host.AddVm(5, "new");
    testing::internal::CaptureStderr();
    logger->SetLevel(6);
    EXPECT_FALSE(cache.Lookup(info, 5).HasErrors());
    logger->SetLevel(2);
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("Evict") != std::string::npos, evicts);
    EXPECT_EQ(info->biosUuid, "bios new");
    CidInfoPtr again;
    cache.Lookup(again, 5);
    EXPECT_EQ(again, info);
  }
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

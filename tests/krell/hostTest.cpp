#include "platform/krell/standin/host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "testing/testHost.h"

namespace {

using testing::HasSubstr;
using Testing::TestHost;

template <typename Call>
std::string ErrorOf(Call call) {
  try {
    call();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "no error";
}

TEST(HostTest, FindsAVmByEachOfItsNames) {
  TestHost host;
  host.AddVm(9);
  const auto vm = host.AddVm(7);
  EXPECT_TRUE(host->FindByCid(7)->identity.privileged);
  EXPECT_EQ(host->FindByBiosUuid("bios 7")->identity.vmUuid, "vm-7");
  EXPECT_EQ(host->FindByCartelId(vm.cartelId)->identity.mgrVmId, "mgr-7");
  EXPECT_EQ(host->FindByLeaderId(vm.leaderId)->identity.cid, 7U);
  EXPECT_FALSE(host->FindByBiosUuid("../vms/7"));
  ASSERT_EQ(host->List().size(), 2U);
  EXPECT_EQ(host->List()[0].identity.cid, 9U) << "the order is that of the starts";

  host->Remove(7);
  EXPECT_FALSE(host->FindByCid(7) || host->FindByBiosUuid("bios 7") || host->FindByCartelId(vm.cartelId));
  const auto successor = host->Add({7, "other", "u", "m", true});
  EXPECT_NE(successor.cartelId, vm.cartelId);
  EXPECT_NE(successor.leaderId, vm.leaderId);
  EXPECT_FALSE(host->FindByLeaderId(vm.leaderId));
}

TEST(HostTest, RefusesBadIdentities) {
  TestHost host;
  host.AddVm(5);
  const auto add = [&](const Krell::VmIdentity& vm) { return ErrorOf([&] { host->Add(vm); }); };
  EXPECT_EQ(add({5, "b", "v", "m", true}), "cid 5 is in use");
  EXPECT_THAT(add({2, "b", "v", "m", true}), HasSubstr("a VM's cid must be 3 to"));
  EXPECT_THAT(add({6, "", "v", "m", true}), HasSubstr("the BIOS uuid must have 1 to 127"));
  EXPECT_THAT(add({6, "b", std::string(128, 'v'), "m", true}), HasSubstr("the VM uuid must have"));
  EXPECT_THAT(add({6, "../x", "v", "m", true}), HasSubstr("the BIOS uuid may hold"));
  EXPECT_EQ(ErrorOf([&] { host->Remove(6); }), "no VM with cid 6");
  host->Add({6, std::string(127, 'b'), "v", "m", true});
  EXPECT_TRUE(host->FindByBiosUuid(std::string(127, 'b')));
}

TEST(HostTest, ASocketIsOneVmsAlone) {
  TestHost host;
  const auto add = [&](const std::string& name, const Krell::VmTransport& transport) {
    return ErrorOf([&] { host->Add({0, "b" + name, "v", "m" + name, true, transport}); });
  };
  const std::string longest = "/" + std::string(101, 'p');
  EXPECT_EQ(add("1", {Krell::VmTransport::Kind::Hybrid, longest}), "no error");
  EXPECT_EQ(add("2", {Krell::VmTransport::Kind::Serial, "/run/a", "/run/b"}), "no error");
  EXPECT_THAT(add("3", {Krell::VmTransport::Kind::Hybrid, longest}), HasSubstr("is the VM's with cid"));
  EXPECT_THAT(add("4", {Krell::VmTransport::Kind::Serial, "/run/c", "/run/a"}), HasSubstr("/run/a is the"));
  EXPECT_THAT(add("5", {Krell::VmTransport::Kind::Serial, "/run/d", "/run/d"}), HasSubstr("a socket each"));
  host->Remove(host->FindByBiosUuid("b1")->identity.cid);
  EXPECT_EQ(add("6", {Krell::VmTransport::Kind::Hybrid, longest}), "no error");
  EXPECT_EQ(host->FindByPath(longest)->identity.biosUuid, "b6");
}

TEST(HostTest, RefusesADirectoryThatOthersCanReachOrReplace) {
  TestHost host;
  const std::string directory = host->Directory();
  const std::string top = std::filesystem::path(directory).parent_path();
  const auto open = [](const std::string& path) { return ErrorOf([&] { Krell::Host{path}; }); };
  EXPECT_EQ(open(directory + "//"), "no error");
  const std::string link = top + "/link";
  ASSERT_EQ(symlink(directory.c_str(), link.c_str()), 0);
  for (const char* behind : {"", "/", "/.", "/inner"}) {
    EXPECT_THAT(open(link + behind), HasSubstr("is reached through a link, " + link)) << behind;
  }
  EXPECT_FALSE(std::filesystem::exists(directory + "/inner"));

  chmod(top.c_str(), 0707);
  EXPECT_THAT(open(directory), HasSubstr("can be replaced by other users, who can write " + top));
  chmod(top.c_str(), 01777);
  EXPECT_EQ(open(directory), "no error");
  chmod(directory.c_str(), 0750);
  EXPECT_THAT(open(directory), HasSubstr("is open to other users"));
  EXPECT_THAT(open("/proc/none/host"), HasSubstr("No such file or directory"));
}

TEST(HostTest, ReadersNeverSeeHalfAVm) {
  TestHost host;
  std::atomic<bool> stop{false};
  std::thread changes([&] {
    Krell::Host other(host->Directory());
    for (int i = 0; i < 300; ++i) {
      const std::string name(static_cast<std::size_t>(1 + i % 127), 'x');
      other.Add({7, name, name, name, true});
      other.Remove(7);
    }
    stop = true;
  });
  while (!stop) {
    if (const auto vm = host->FindByCid(7)) {
      ASSERT_FALSE(vm->identity.biosUuid.empty());
      ASSERT_EQ(vm->identity.biosUuid, vm->identity.mgrVmId);
    }
    for (const auto& vm : host->List()) ASSERT_EQ(vm.identity.biosUuid, vm.identity.vmUuid);
  }
  changes.join();
}

}  // namespace

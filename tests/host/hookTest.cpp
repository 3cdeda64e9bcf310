#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "testing/testHost.h"
#include "tests/host/registryProgram.h"

namespace {

using Testing::DomainFile;
using Testing::Exchange;
using Testing::ReadFile;
using Testing::RunRegistry;

// A host on which another VM runs, to which nothing may happen.
class HookTest : public testing::Test {
 protected:
  void SetUp() override { host_.AddVm(40); }
  void TearDown() override {
    const auto vms = host_->List();
    ASSERT_FALSE(vms.empty());
    EXPECT_EQ(vms.front().identity.cid, 40U);
    EXPECT_EQ(vms.front().identity.mgrVmId, "mgr-40");
  }

  // Gives what the hook logged.
  static std::string Call(const std::string& operation, const std::string& xml,
                          const std::string& subOperation = "begin") {
    const auto outcome = RunRegistry({"hook", "a-domain", operation, subOperation, "-"}, xml);
    EXPECT_EQ(outcome.status, 0) << operation;
    EXPECT_EQ(outcome.output, "") << operation;
    return outcome.errors;
  }
  // Without the other one.
  std::vector<Krell::VirtualMachine> Vms() {
    auto vms = host_->List();
    vms.erase(vms.begin());
    return vms;
  }

  const std::string vsock_ = ReadFile(DomainFile("vsock"));
  const std::string serial_ = ReadFile(DomainFile("serial"));
  Testing::TestHost host_;
};

TEST_F(HookTest, FollowsTheLifeOfADomain) {
  Call("prepare", ReadFile(DomainFile("prepare")));
  EXPECT_TRUE(Vms().empty());
  Call("start", vsock_);
  ASSERT_EQ(Vms().size(), 1U);
  EXPECT_EQ(Vms()[0].identity.cid, 3U);
  EXPECT_EQ(Vms()[0].identity.mgrVmId, "vm-4711");
  const auto generation = host_->Generation();
  // The same VM all the time, whatever else is told of it.
  for (const char* operation :
       {"started", "reconnect", "start", "attach", "migrate", "prepare", "an-other"}) {
    Call(operation, vsock_);
  }
  EXPECT_EQ(host_->Generation(), generation);
  Call("start", serial_);
  const auto allotted = Vms().at(1).identity.cid;
  Call("reconnect", serial_);
  EXPECT_EQ(Vms().at(1).identity.cid, allotted);
  Call("stopped", vsock_, "end");
  ASSERT_EQ(Vms().size(), 1U);
  EXPECT_EQ(Vms()[0].identity.transport.kind, Krell::VmTransport::Kind::Serial);
  Call("release", vsock_, "end");
  Call("release", serial_, "end");
  Call("stopped", serial_, "end");
  EXPECT_TRUE(Vms().empty());
  // Its vsock can have been taken away in the meantime.
  Call("start", vsock_);
  Call("stopped", ReadFile(DomainFile("prepare")), "end");
  EXPECT_TRUE(Vms().empty());
}

TEST_F(HookTest, TheOneThatStartsHasItsNamesAlone) {
  Call("start", vsock_);
  const auto first = Vms().at(0);
  // The next one has its cid; the first one's end was never told.
  Call("start", Exchange(vsock_, "3f1c7c52", "11111111"));
  ASSERT_EQ(Vms().size(), 1U);
  EXPECT_EQ(Vms()[0].identity.biosUuid.substr(0, 8), "11111111");
  EXPECT_NE(Vms()[0].cartelId, first.cartelId);
  Call("release", vsock_, "end");
  EXPECT_EQ(Vms().size(), 1U) << "the late end of the first one is not the second one's";
  // The same VM starts again with another cid.
  Call("reconnect", Exchange(Exchange(vsock_, "3f1c7c52", "11111111"), "address='3'", "address='77'"));
  ASSERT_EQ(Vms().size(), 1U);
  EXPECT_EQ(Vms()[0].identity.cid, 77U);
}

TEST_F(HookTest, WhatCantBeReadIsLeftOutWithOneLine) {
  const std::vector<std::string> wrong = {
      "",
      vsock_.substr(0, vsock_.size() / 2),
      ReadFile(DomainFile("external")),
      ReadFile(DomainFile("bomb")),
      vsock_ + std::string(3 << 20, ' '),
      Exchange(vsock_, "vm-4711", "a/b"),
      Exchange(vsock_, "vm-4711", std::string(128, 'm')),
      Exchange(vsock_, "3f1c7c52-6a2f-4c39-9a53-0d3f8a1f0b11", ""),
      Exchange(vsock_, "3f1c7c52", "../../x\x1b[31m"),
      Exchange(vsock_, "3f1c7c52", "\xc3\xa4&#10;"),
      Exchange(vsock_, "address='3'", "address='2'"),
      Exchange(serial_, "/run/libvirt", "run"),
      Exchange(serial_, "/run/libvirt", "/" + std::string(108, 'p')),
      Exchange(serial_, "hesper.history' state", "other' state"),
  };
  for (const auto& xml : wrong) {
    const std::string log = Call("reconnect", xml);
    const auto about = xml.substr(0, 60) + "\n" + log;
    EXPECT_TRUE(Vms().empty()) << about;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << about;
    EXPECT_NE(log.find("VM a-domain is left out at its reconnect: "), std::string::npos) << about;
    EXPECT_EQ(log.find('\x1b'), std::string::npos) << about;
    Call("stopped", xml);
  }
  EXPECT_EQ(Call("start", ReadFile(DomainFile("plain"))), "");
}

TEST_F(HookTest, NoCallOfItFails) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"hook"},
                                                    {"hook", "name"},
                                                    {"hook", "", "", "", ""},
                                                    {"hook", "name", "start", "begin", "-", "--more"}}) {
    EXPECT_EQ(RunRegistry(arguments, vsock_).status, 0) << arguments.back();
  }
  setenv("KRELL_HOST_DIR", "/proc/none", 1);
  EXPECT_NE(Call("start", vsock_), "");
  setenv("KRELL_HOST_DIR", host_->Directory().c_str(), 1);
  EXPECT_TRUE(Vms().empty());
}

}  // namespace

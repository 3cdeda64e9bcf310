#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/krell/standin/endpointAddress.h"
#include "platform/krell/standin/gateway.h"
#include "platform/krell/standin/guestSocket.h"
#include "platform/krell/standin/host.h"
#include "testing/testHost.h"

// What is kept of VMs, endpoints and descriptors between calls.
namespace {

using Krell::GuestSocket;
using Testing::PlainSocket;
using Testing::TestHost;

constexpr std::uint32_t kKeptPort = 7777;
constexpr std::chrono::seconds kKeptPatience{20};

// By the device; 0 if no VM has the uuid.
std::uint32_t CidOf(const std::string& biosUuid) {
  const int device = open(Krell::kVsockDevice, O_RDONLY | O_CLOEXEC);
  Krell::UuidToCidRequest request;
  biosUuid.copy(request.uuid.data(), request.uuid.size() - 1);
  const int result = ioctl(device, Krell::kIoctlUuidToCid, &request);
  EXPECT_TRUE(result == 0 || errno == ENOENT);
  close(device);
  return result == 0 ? request.cid : 0;
}

int MappedQueues() {
  std::ifstream maps("/proc/self/maps");
  int count = 0;
  for (std::string line; std::getline(maps, line);) count += line.find(".queue") != std::string::npos ? 1 : 0;
  return count;
}

std::size_t AllocatedBytes() {
  return mallinfo2().uordblks;
}

TEST(KeptTest, UuidsFollowTheVms) {
  TestHost host;
  host.AddVm(5, "a");
  EXPECT_EQ(CidOf("bios a"), 5U);
  EXPECT_EQ(CidOf("bios b"), 0U);
  host.AddVm(6, "b");
  EXPECT_EQ(CidOf("bios b"), 6U);
  host.AddVm(7, "a");
  EXPECT_EQ(CidOf("bios a"), 7U) << "the one that started later";
  host->Remove(7);
  EXPECT_EQ(CidOf("bios a"), 0U);
}

TEST(KeptTest, ADeviceIsADescriptorOfItsOwn) {
  const TestHost host;
  const int first = open(Krell::kVsockDevice, O_RDONLY | O_CLOEXEC);
  const int second = open(Krell::kVsockDevice, O_RDONLY);
  EXPECT_NE(first, second);
  EXPECT_EQ(fcntl(first, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(fcntl(second, F_GETFD), 0);
  close(first);
  int family = 0;
  EXPECT_EQ(ioctl(second, Krell::kIoctlAddressFamily, &family), 0);
  EXPECT_LT(ioctl(first, Krell::kIoctlAddressFamily, &family), 0);
  close(second);
}

TEST(KeptTest, AnEndpointThatWasMissingIsFoundWhenItIsBound) {
  TestHost host;
  host.AddVm(5);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(kKeptPort), 0);
  EXPECT_EQ(daemon.Send(5, 1024, "x"), ECONNRESET);
  Krell::Gateway gateway(*host.operator->());
  EXPECT_EQ(daemon.Send(5, 1024, "to the gateway"), 0);
  ASSERT_TRUE(gateway.Take());
  GuestSocket guest(5, 1024);
  EXPECT_EQ(daemon.Send(5, 1024, "to the guest"), 0);
  EXPECT_TRUE(guest.Receive(kKeptPatience));
  EXPECT_FALSE(gateway.Take());
}

TEST(KeptTest, WhatIsAskedForAndNotThereIsNotKeptWithoutEnd) {
  TestHost host;
  host.AddVm(5);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(kKeptPort), 0);
  const std::size_t before = AllocatedBytes();
  for (std::uint32_t i = 0; i < 50'000; ++i) ASSERT_EQ(daemon.Send(5, 1024 + i, "x"), ECONNRESET);
  EXPECT_LT(AllocatedBytes(), before + (1 << 20));
  for (int i = 0; i < 30'000; ++i) ASSERT_EQ(CidOf(std::to_string(i) + std::string(100, 'u')), 0U);
  EXPECT_LT(AllocatedBytes(), before + (4 << 20));
}

TEST(KeptTest, EndpointsOfGuestsThatHaveGoneAreUnmapped) {
  TestHost host;
  host.AddVm(5);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(kKeptPort), 0);
  const GuestSocket stays(5);
  for (int i = 0; i < 200; ++i) {
    GuestSocket guest(5);
    EXPECT_EQ(daemon.Send(5, i % 2 == 0 ? stays.Port() : guest.Port(), "x"), 0);
  }
  EXPECT_LT(MappedQueues(), 20);
  EXPECT_EQ(daemon.Send(5, stays.Port(), "x"), 0);
}

// Where it fits, an address is the folder's own path.
TEST(KeptTest, AddressesFollowTheFolder) {
  std::string top = "/tmp/krell-test.XXXXXX";
  ASSERT_NE(mkdtemp(top.data()), nullptr);
  const auto exchange = [](const std::string& directory) {
    Krell::Host host(directory);
    setenv("KRELL_HOST_DIR", directory.c_str(), 1);
    host.Add({5, "b", "v", "m", true});
    PlainSocket daemon;
    EXPECT_EQ(daemon.Bind(kKeptPort), 0);
    GuestSocket guest(5);
    guest.Send(kKeptPort, "x");
    EXPECT_EQ(daemon.Receive().first, "x");
    unsetenv("KRELL_HOST_DIR");
    return std::string(Krell::EndpointAddress(host.EndpointsDescriptor(), "5.1024").bytes + 2);
  };
  EXPECT_EQ(exchange(top + "/host"), top + "/host/endpoints/5.1024");
  EXPECT_EQ(exchange(top + "/" + std::string(80, 'h')).find("/proc/self/fd/"), 0U);
  std::filesystem::remove_all(top);
}

}  // namespace

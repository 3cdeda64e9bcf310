#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <vector>

#include "lib/public/api/guestLimits.h"
#include "platform/krell/standin/guestSocket.h"
#include "testing/testHost.h"

namespace {

using Krell::GuestSocket;
using Testing::PlainSocket;
using Testing::TestHost;

constexpr std::uint32_t kPort = 7777;
constexpr std::size_t kLargest = NornHesper::kLargestDatagram;
constexpr std::chrono::seconds kPatience{20};

int ErrorOfSend(GuestSocket& guest) {
  try {
    guest.Send(kPort, "x");
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

int ErrorOfGuest(std::uint32_t cid, std::uint32_t guestPort) {
  try {
    GuestSocket guest(cid, guestPort);
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

class VsockTest : public testing::Test {
 protected:
  void SetUp() override {
    host.AddVm(5);
    ASSERT_EQ(daemon.Bind(kPort), 0);
  }

  TestHost host;
  PlainSocket daemon;
};

TEST_F(VsockTest, ReceiveBufferIsCountedInBytes) {
  ASSERT_EQ(daemon.SetReceiveBuffer(2228224), 0);
  GuestSocket guest(5);
  const std::string text(kLargest, 'a');
  for (int i = 0; i < 40; ++i) guest.Send(kPort, text);
  EXPECT_EQ(daemon.Drain(), 32);
  for (int i = 0; i < 1000; ++i) guest.Send(kPort, std::to_string(i));
  EXPECT_EQ(daemon.Receive().first, "0");
  EXPECT_EQ(daemon.Drain(), 999);

  // Around the end of the ring, with something waiting all the time.
  const auto numbered = [](int i) {
    return std::to_string(i) + std::string(49999, static_cast<char>('a' + i % 26));
  };
  guest.Send(kPort, numbered(0));
  for (int i = 1; i < 300; ++i) {
    guest.Send(kPort, numbered(i));
    ASSERT_EQ(daemon.Receive().first, numbered(i - 1));
  }
}

TEST_F(VsockTest, FollowsVmsThatStopAndCidsThatAreUsedAgain) {
  const auto vm = *host->FindByCid(5);
  PlainSocket probe;
  std::uint32_t cartelId = 0;
  EXPECT_EQ(probe.Get(3, cartelId), ENOTCONN);
  EXPECT_EQ(probe.Connect(6), ENODEV);
  ASSERT_EQ(probe.Connect(5), 0);
  EXPECT_EQ(probe.Get(3, cartelId), 0);
  EXPECT_EQ(cartelId, vm.cartelId);

  GuestSocket old(5, 1024);
  host->Remove(5);
  EXPECT_EQ(probe.Get(3, cartelId), ENODEV);
  EXPECT_EQ(ErrorOfSend(old), ENODEV);
  EXPECT_EQ(daemon.Send(5, 1024, "x"), ENODEV);
  EXPECT_EQ(ErrorOfGuest(5, 1024), EADDRNOTAVAIL);

  const auto successor = host.AddVm(5);
  EXPECT_EQ(ErrorOfSend(old), ENODEV) << "a socket of the VM that was is none of the one that is";
  EXPECT_EQ(daemon.Send(5, 1024, "x"), ECONNRESET);
  EXPECT_EQ(probe.Get(3, cartelId), 0);
  EXPECT_EQ(cartelId, successor.cartelId);
  GuestSocket guest(5, 1024);
  EXPECT_EQ(daemon.Send(5, 1024, "new"), 0);
  EXPECT_TRUE(guest.Receive(kPatience));
  EXPECT_FALSE(old.Receive(std::chrono::milliseconds(0)));
}

TEST(VsockSocketTest, PortsAreTakenOnceAndFreedWithTheirProcess) {
  TestHost host;
  host.AddVm(5);
  GuestSocket guest(5);
  {
    PlainSocket daemon;
    ASSERT_EQ(daemon.Bind(kPort), 0);
    EXPECT_EQ(daemon.Bind(kPort), EINVAL);
    PlainSocket second;
    EXPECT_EQ(second.Bind(kPort), EADDRINUSE);
    EXPECT_EQ(ErrorOfGuest(5, guest.Port()), EADDRINUSE);
    EXPECT_EQ(ErrorOfGuest(5, kPort), 0) << "the ports of a VM are its own";
    EXPECT_EQ(ErrorOfSend(guest), 0);
  }
  EXPECT_EQ(ErrorOfSend(guest), ECONNRESET);

  // A process that dies without a close: one packet has been left waiting.
  const pid_t child = fork();
  if (child == 0) {
    PlainSocket daemon;
    _exit(daemon.Bind(kPort) | ErrorOfSend(guest));
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ErrorOfSend(guest), ECONNRESET);
  PlainSocket next;
  ASSERT_EQ(next.Bind(kPort), 0);
  EXPECT_EQ(ErrorOfSend(guest), 0);
  EXPECT_EQ(next.Drain(), 1);
}

TEST_F(VsockTest, GuestsThatDoNotReadHoldUpNobody) {
  std::vector<GuestSocket> guests;
  for (std::uint32_t cid = 6; cid < 606; ++cid) {
    host.AddVm(cid);
    guests.emplace_back(cid, 1024);
  }
  for (std::uint32_t cid = 6; cid < 606; ++cid) {
    for (int i = 0; i < 20; ++i) ASSERT_EQ(daemon.Send(cid, 1024, "answer"), 0);
  }
  for (auto& guest : guests) EXPECT_TRUE(guest.Receive(std::chrono::milliseconds(0))) << guest.Cid();
}

// A thread's file can have the number that another one's has just given up. Thread sanitizer tells if it was
// given up by another call than the one that it watches.
TEST_F(VsockTest, GuestsComeAndGoInSeveralThreads) {
  std::atomic<int> running{3};
  const auto comeAndGo = [&running](std::uint32_t cid) {
    for (int i = 0; i < 200; ++i) EXPECT_EQ(ErrorOfGuest(cid, kPort), 0);
    --running;
  };
  std::vector<std::thread> threads;
  for (std::uint32_t cid = 6; cid < 9; ++cid) {
    host.AddVm(cid);
    threads.emplace_back(comeAndGo, cid);
  }
  // Each change makes the others read their VM's file again.
  while (running > 0) {
    host.AddVm(9);
    host->Remove(9);
  }
  for (auto& thread : threads) thread.join();
}

TEST(VsockSocketTest, PassesEverythingElseOn) {
  unsetenv("KRELL_HOST_DIR");
  EXPECT_LT(PlainSocket().Get(), 0);
  const TestHost host;
  const int number = PlainSocket().Get();
  // The number of a descriptor that was ours belongs to whoever has it next.
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair), 0);
  EXPECT_TRUE(pair[0] == number || pair[1] == number);
  EXPECT_EQ(send(pair[0], "abc", 3, 0), 3);
  char text[8];
  EXPECT_EQ(recv(pair[1], text, sizeof text, 0), 3);
  close(pair[0]);
  close(pair[1]);
}

}  // namespace

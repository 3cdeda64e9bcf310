#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/krell/guestSocket.h"
#include "tests/krell/testHost.h"

namespace {

using Krell::GuestSocket;
using KrellTest::PlainSocket;
using KrellTest::TestHost;

constexpr std::uint32_t port = 7777;
constexpr std::size_t largest = 69608;
constexpr std::chrono::seconds patience{20};

int ErrorOfSend(GuestSocket& guest) {
  try {
    guest.Send(port, "x");
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

TEST(Vsock, CarriesDatagramsBothWaysUnderTheirOwnAddress) {
  TestHost host;
  host.AddVm(5);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(port), 0);
  GuestSocket guest(5, 1024);
  guest.Send(port, "one");
  guest.Send(port, "");
  const auto [text, source] = daemon.Receive();
  EXPECT_EQ(text, "one");
  EXPECT_EQ(source.cid, 5U);
  EXPECT_EQ(source.port, 1024U);
  EXPECT_EQ(source.family, 40);
  const auto [empty, emptySource] = daemon.Receive();
  EXPECT_EQ(empty, "");
  EXPECT_EQ(emptySource.cid, 5U);
  EXPECT_EQ(daemon.Drain(), 0);

  EXPECT_EQ(daemon.Send(5, 1024, "answer"), 0);
  const auto answer = guest.Receive(patience);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->text, "answer");
  EXPECT_EQ(answer->cid, 2U);
  EXPECT_EQ(answer->port, port);

  // Unbound, as the one who asks for history sends, is from a free port of the host.
  PlainSocket unbound;
  EXPECT_EQ(unbound.Send(5, 1024, "request"), 0);
  const auto request = guest.Receive(patience);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->cid, 2U);
  EXPECT_NE(request->port, port);
}

TEST(Vsock, CutsAtTheReadersBuffer) {
  TestHost host;
  host.AddVm(5);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(port), 0);
  GuestSocket guest(5);
  const std::string text(largest, 'a');
  guest.Send(port, text);
  guest.Send(port, text + "b");
  guest.Send(port, "next");
  int flags = 0;
  EXPECT_EQ(daemon.Receive(largest, &flags).first, text);
  EXPECT_EQ(flags & MSG_TRUNC, 0);
  EXPECT_EQ(daemon.Receive(largest, &flags).first, text);
  EXPECT_EQ(flags & MSG_TRUNC, MSG_TRUNC);
  EXPECT_EQ(daemon.Receive().first, "next");
}

TEST(Vsock, ReceiveBufferIsCountedInBytes) {
  TestHost host;
  host.AddVm(5);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(port), 0);
  ASSERT_EQ(daemon.SetReceiveBuffer(2228224), 0);
  int size = 0;
  socklen_t length = sizeof size;
  ASSERT_EQ(getsockopt(daemon.Get(), SOL_SOCKET, SO_RCVBUF, &size, &length), 0);
  EXPECT_EQ(size, 2228224);
  GuestSocket guest(5);
  const std::string text(largest, 'a');
  for (int i = 0; i < 40; ++i) guest.Send(port, text);
  EXPECT_EQ(daemon.Drain(), 32);
  for (int i = 0; i < 1000; ++i) guest.Send(port, std::to_string(i));
  EXPECT_EQ(daemon.Receive().first, "0");
  EXPECT_EQ(daemon.Drain(), 999);

  // Around the end of the ring, with something waiting all the time.
  const auto numbered = [](int i) {
    return std::to_string(i) + std::string(49999, static_cast<char>('a' + i % 26));
  };
  guest.Send(port, numbered(0));
  for (int i = 1; i < 300; ++i) {
    guest.Send(port, numbered(i));
    ASSERT_EQ(daemon.Receive().first, numbered(i - 1));
  }
}

TEST(Vsock, LimitsTheRateOfEachPeerAlone) {
  TestHost host;
  for (std::uint32_t cid = 5; cid < 100; ++cid) host.AddVm(cid);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(port), 0);
  ASSERT_EQ(daemon.SetReceiveBuffer(2228224), 0);
  ASSERT_EQ(daemon.Set(9, 2), 0);
  std::uint32_t rate = 0;
  EXPECT_EQ(daemon.Get(9, rate), 0);
  EXPECT_EQ(rate, 2U);
  GuestSocket flooder(5);
  for (int i = 0; i < 20000; ++i) flooder.Send(port, "flood");
  for (std::uint32_t cid = 6; cid < 100; ++cid) GuestSocket(cid).Send(port, "good");
  int flood = 0;
  int good = 0;
  for (auto packet = daemon.Receive(); packet.second.cid != Krell::anyCid; packet = daemon.Receive())
    ++(packet.second.cid == 5 ? flood : good);
  EXPECT_EQ(good, 94);
  EXPECT_GE(flood, 2);
  EXPECT_LT(flood, 1000);
}

TEST(Vsock, KeepsUnprivilegedVmsOff) {
  TestHost host;
  host.AddVm(5, false);
  host.AddVm(6);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(port), 0);
  GuestSocket plain(5);
  GuestSocket privileged(6);
  plain.Send(port, "heard");
  EXPECT_EQ(daemon.Drain(), 1);
  ASSERT_EQ(daemon.Set(10, 1), 0);
  plain.Send(port, "not heard");
  privileged.Send(port, "heard");
  EXPECT_EQ(daemon.Receive().second.cid, 6U);
  EXPECT_EQ(daemon.Drain(), 0);
  EXPECT_EQ(daemon.Set(11, 1), ENOPROTOOPT);
}

TEST(Vsock, FollowsVmsThatStopAndCidsThatAreUsedAgain) {
  TestHost host;
  const auto vm = host.AddVm(5);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(port), 0);
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
  EXPECT_TRUE(guest.Receive(patience));
  EXPECT_FALSE(old.Receive(std::chrono::milliseconds(0)));
}

TEST(Vsock, PortsAreTakenOnceAndFreedWithTheirProcess) {
  TestHost host;
  host.AddVm(5);
  GuestSocket guest(5);
  EXPECT_EQ(ErrorOfSend(guest), ECONNRESET);
  {
    PlainSocket daemon;
    ASSERT_EQ(daemon.Bind(port), 0);
    EXPECT_EQ(daemon.Bind(port), EINVAL);
    PlainSocket second;
    EXPECT_EQ(second.Bind(port), EADDRINUSE);
    EXPECT_EQ(ErrorOfGuest(5, guest.Port()), EADDRINUSE);
    EXPECT_EQ(ErrorOfGuest(5, port), 0) << "the ports of a VM are its own";
    EXPECT_EQ(ErrorOfSend(guest), 0);
  }
  EXPECT_EQ(ErrorOfSend(guest), ECONNRESET);

  // A process that dies without a close: one packet has been left waiting.
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    PlainSocket daemon;
    const char bound = daemon.Bind(port) == 0 ? 'y' : 'n';
    if (write(ready[1], &bound, 1) == 1) pause();
    _exit(1);
  }
  char bound = 'n';
  ASSERT_EQ(read(ready[0], &bound, 1), 1);
  ASSERT_EQ(bound, 'y');
  EXPECT_EQ(ErrorOfSend(guest), 0);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(ready[0]);
  close(ready[1]);
  EXPECT_EQ(ErrorOfSend(guest), ECONNRESET);
  PlainSocket next;
  ASSERT_EQ(next.Bind(port), 0);
  EXPECT_EQ(ErrorOfSend(guest), 0);
  EXPECT_EQ(next.Drain(), 1);
}

TEST(Vsock, WaitsAreTheKernelsOwn) {
  TestHost host;
  host.AddVm(5);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(port), 0);
  GuestSocket guest(5, 1024);
  pollfd event{daemon.Get(), POLLIN, 0};
  EXPECT_EQ(poll(&event, 1, 0), 0);
  std::thread sender([&] {
    for (int i = 0; i < 1000; ++i) {
      guest.Send(port, std::to_string(i));
      if (!guest.Receive(patience)) return;
    }
    guest.Send(port, "end");
  });
  std::string text;
  int count = 0;
  for (; text != "end"; ++count) {
    char buffer[16];
    const ssize_t size = recv(daemon.Get(), buffer, sizeof buffer, 0);
    ASSERT_GT(size, 0);
    text.assign(buffer, static_cast<std::size_t>(size));
    daemon.Send(5, 1024, "ok");
  }
  sender.join();
  EXPECT_EQ(count, 1001);
  EXPECT_EQ(poll(&event, 1, 0), 0);
}

TEST(Vsock, GuestsThatDoNotReadHoldUpNobody) {
  TestHost host;
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(port), 0);
  std::vector<GuestSocket> guests;
  for (std::uint32_t cid = 5; cid < 605; ++cid) {
    host.AddVm(cid);
    guests.emplace_back(cid, 1024);
  }
  for (std::uint32_t cid = 5; cid < 605; ++cid) {
    for (int i = 0; i < 20; ++i) ASSERT_EQ(daemon.Send(cid, 1024, "answer"), 0);
  }
  for (auto& guest : guests) EXPECT_TRUE(guest.Receive(std::chrono::milliseconds(0))) << guest.Cid();
}

TEST(Vsock, DeviceMapsUuidsToCids) {
  TestHost host;
  host.AddVm(5);
  const int device = open("/dev/vsock", O_RDONLY);
  ASSERT_GE(device, 0);
  const auto cidOf = [&](const char* uuid) {
    Krell::UuidToCidRequest request;
    std::strncpy(request.uuid, uuid, sizeof request.uuid - 1);
    return ioctl(device, 1991, &request) == 0 ? request.cid : Krell::anyCid;
  };
  EXPECT_EQ(cidOf("bios 5"), 5U);
  EXPECT_EQ(cidOf("bios 6"), Krell::anyCid);
  host->Remove(5);
  EXPECT_EQ(cidOf("bios 5"), Krell::anyCid);
  host->Add({8, "bios 5", "v", "m", true});
  EXPECT_EQ(cidOf("bios 5"), 8U);
  close(device);
  EXPECT_EQ(cidOf("bios 5"), Krell::anyCid);
}

TEST(Vsock, FamilyOfTheDeviceIsThereWhileTheDeviceIsOpen) {
  TestHost host("family device\n");
  host.AddVm(5);
  EXPECT_LT(PlainSocket().Get(), 0);
  EXPECT_LT(PlainSocket(53).Get(), 0);
  const int device = open("/dev/vsock", O_RDONLY);
  int family = 0;
  ASSERT_EQ(ioctl(device, 1976, &family), 0);
  EXPECT_EQ(family, 53);
  PlainSocket daemon(53);
  ASSERT_EQ(daemon.Bind(port), 0);
  EXPECT_EQ(daemon.Set(9, 2), 0);
  GuestSocket(5).Send(port, "x");
  EXPECT_EQ(daemon.Receive().second.family, 53);
  close(device);
}

TEST(Vsock, FailsAsScripted) {
  TestHost host(
      "# lines of all kinds\nsetsockopt 9 EPERM\noption 10 sticks-at 0\noption SO_RCVBUF size 8\n"
      "recvmsg EINTR 1\nsendmsg EAGAIN 2\nconnect ENODEV\n");
  host.AddVm(5);
  PlainSocket daemon;
  ASSERT_EQ(daemon.Bind(port), 0);
  EXPECT_EQ(daemon.Set(9, 2), EPERM);
  std::uint32_t mode = 7;
  EXPECT_EQ(daemon.Set(10, 1), 0);
  EXPECT_EQ(daemon.Get(10, mode), 0);
  EXPECT_EQ(mode, 0U);
  int size[2];
  socklen_t length = sizeof size;
  EXPECT_EQ(getsockopt(daemon.Get(), SOL_SOCKET, SO_RCVBUF, size, &length), 0);
  EXPECT_EQ(length, 8U);
  EXPECT_EQ(daemon.Connect(5), ENODEV);

  GuestSocket guest(5);
  guest.Send(port, "none of it meets a guest");
  char text[8];
  EXPECT_EQ(recv(daemon.Get(), text, sizeof text, 0), -1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(recv(daemon.Get(), text, sizeof text, 0), 8);
  EXPECT_EQ(daemon.Send(5, guest.Port(), "x"), EAGAIN);
  EXPECT_EQ(daemon.Send(5, guest.Port(), "x"), EAGAIN);
  EXPECT_EQ(daemon.Send(5, guest.Port(), "x"), 0);
}

TEST(Vsock, PassesEverythingElseOn) {
  unsetenv("KRELL_HOST_DIR");
  EXPECT_LT(PlainSocket().Get(), 0);
  TestHost host;
  int number = -1;
  {
    PlainSocket ours;
    number = ours.Get();
    ASSERT_EQ(ours.Bind(port), 0);
  }
  // The number of a descriptor that was ours belongs to whoever has it next.
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair), 0);
  EXPECT_TRUE(pair[0] == number || pair[1] == number);
  EXPECT_EQ(send(pair[0], "abc", 3, 0), 3);
  char text[8];
  EXPECT_EQ(recv(pair[1], text, sizeof text, 0), 3);
  int type = 0;
  socklen_t length = sizeof type;
  EXPECT_EQ(getsockopt(pair[0], SOL_SOCKET, SO_TYPE, &type, &length), 0);
  EXPECT_EQ(type, SOCK_SEQPACKET);
  close(pair[0]);
  close(pair[1]);
  const int file = open((host->Directory() + "/file").c_str(), O_WRONLY | O_CREAT, 0640);
  struct stat status {};
  EXPECT_EQ(fstat(file, &status), 0);
  EXPECT_EQ(status.st_mode & 0600, 0600U);
  close(file);
}

}  // namespace

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/krell/standin/endpointAddress.h"
#include "platform/krell/standin/endpointQueue.h"
#include "platform/krell/standin/guestSocket.h"
#include "testing/testHost.h"

// Whoever waits for a packet is woken: once too often at worst.
namespace {

using Krell::GuestSocket;
using Krell::VsockAddress;
using Testing::PlainSocket;
using Testing::TestHost;

constexpr std::uint32_t kWakeUpPort = 7777;
constexpr std::uint32_t kGuestPort = 1024;
constexpr std::chrono::seconds kWakeUpPatience{20};
// More than the layer needs to take an endpoint for one that is rung again and again.
constexpr int kOften = 20;

bool IsReadable(int fd, std::chrono::milliseconds patience = kWakeUpPatience) {
  pollfd ready{fd, POLLIN, 0};
  return poll(&ready, 1, static_cast<int>(patience.count())) == 1;
}

bool IsQuiet(int fd) {
  return !IsReadable(fd, std::chrono::milliseconds(0));
}

int ErrorOfSendTo(std::uint32_t port, GuestSocket& guest) {
  try {
    guest.Send(port, "x");
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

struct Packet {
  std::string text;
  VsockAddress source;
};

// Nothing where it would wait and the flags forbid that, or after kWakeUpPatience.
std::optional<Packet> Receive(const PlainSocket& socket, int flags = 0) {
  const timeval patience{kWakeUpPatience.count(), 0};
  setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  Packet packet{std::string(64, '\0'), {}};
  socklen_t length = sizeof packet.source;
  const auto size = recvfrom(socket.Get(), packet.text.data(), packet.text.size(), flags,
                             reinterpret_cast<sockaddr*>(&packet.source), &length);
  if (size < 0) return std::nullopt;
  packet.text.resize(static_cast<std::size_t>(size));
  return packet;
}

std::optional<Packet> PollAndReceive(const PlainSocket& socket) {
  while (IsReadable(socket.Get())) {
    if (auto packet = Receive(socket, MSG_DONTWAIT)) return packet;
  }
  return std::nullopt;
}

// Answers each packet with its own text, until one says "end".
template <typename Next>
void Serve(PlainSocket& daemon, Next next) {
  while (const auto packet = next(daemon)) {
    if (packet->text == "end") return;
    daemon.Send(packet->source.cid, packet->source.port, packet->text);
  }
  ADD_FAILURE() << "a receiver was not woken";
}

void ExpectAnswers(std::uint32_t cid, int count) {
  GuestSocket guest(cid);
  for (int i = 0; i < count; ++i) {
    guest.Send(kWakeUpPort, std::to_string(i));
    const auto answer = guest.Receive(kWakeUpPatience);
    ASSERT_TRUE(answer) << "a wake-up was lost";
    ASSERT_EQ(answer->text, std::to_string(i));
  }
}

class WakeUpTest : public testing::Test {
 protected:
  void SetUp() override {
    host.AddVm(5);
    ASSERT_EQ(daemon.Bind(kWakeUpPort), 0);
  }

  // The byte that rings for a packet, without one.
  void RingForNothing(std::uint32_t cid, std::uint32_t port) {
    const Krell::EndpointAddress address(host->EndpointsDescriptor(), Krell::EndpointQueue::Name(cid, port));
    const int bell = socket(AF_UNIX, SOCK_DGRAM, 0);
    EXPECT_EQ(sendto(bell, "", 1, 0, reinterpret_cast<const sockaddr*>(address.bytes), address.length), 1);
    close(bell);
  }

  TestHost host;
  PlainSocket daemon;
};

TEST_F(WakeUpTest, NoneIsLostAmongSeveralSendersAndReceivers) {
  constexpr std::uint32_t kGuests = 4;
  std::vector<std::thread> receivers;
  for (int i = 0; i < 2; ++i) {
    receivers.emplace_back(
        [this] { Serve(daemon, [](const PlainSocket& socket) { return Receive(socket); }); });
  }
  receivers.emplace_back([this] { Serve(daemon, PollAndReceive); });
  std::vector<std::thread> guests;
  for (std::uint32_t cid = 6; cid < 6 + kGuests; ++cid) {
    host.AddVm(cid);
    guests.emplace_back(ExpectAnswers, cid, 1000);
  }
  for (auto& guest : guests) guest.join();
  GuestSocket last(5);
  for (std::size_t i = 0; i < receivers.size(); ++i) last.Send(kWakeUpPort, "end");
  for (auto& receiver : receivers) receiver.join();
  EXPECT_TRUE(daemon.Drain() == 0 && IsQuiet(daemon.Get()));
}

TEST_F(WakeUpTest, AByteWithoutAPacketEndsNoWait) {
  RingForNothing(2, kWakeUpPort);
  EXPECT_TRUE(IsReadable(daemon.Get()));
  EXPECT_EQ(daemon.Drain(), 0);
  EXPECT_TRUE(IsQuiet(daemon.Get())) << "poll would return for ever";

  GuestSocket guest(5, kGuestPort);
  RingForNothing(5, kGuestPort);
  EXPECT_FALSE(guest.Receive(std::chrono::milliseconds(0)));
  RingForNothing(5, kGuestPort);
  RingForNothing(2, kWakeUpPort);
  std::thread waiting([this] {
    const auto packet = Receive(daemon);
    ASSERT_TRUE(packet);
    EXPECT_EQ(daemon.Send(packet->source.cid, packet->source.port, "answer"), 0);
  });
  while (!IsQuiet(daemon.Get())) std::this_thread::yield();
  guest.Send(kWakeUpPort, "x");
  EXPECT_TRUE(guest.Receive(kWakeUpPatience));
  waiting.join();
}

TEST_F(WakeUpTest, WhatIsLeftOrOnlyLookedAtStaysReadable) {
  GuestSocket guest(5);
  std::optional<Packet> seen;
  std::thread looking([&] { seen = Receive(daemon, MSG_PEEK); });
  guest.Send(kWakeUpPort, "first");
  looking.join();
  ASSERT_TRUE(seen);
  EXPECT_EQ(seen->text, "first");
  guest.Send(kWakeUpPort, "second");
  for (const char* text : {"first", "second"}) {
    ASSERT_TRUE(IsReadable(daemon.Get()));
    EXPECT_EQ(Receive(daemon)->text, text);
  }
  EXPECT_TRUE(IsQuiet(daemon.Get()));
}

// Ends the process when it makes that call.
void DieOf(long call) {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{std::size(program), program};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
}

TEST_F(WakeUpTest, TheNextPacketRingsForOneWhoseSenderWasKilled) {
  GuestSocket guest(5);
  const pid_t child = fork();
  if (child == 0) {
    DieOf(SYS_sendto);
    guest.Send(kWakeUpPort, "of the dead");
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status)) << "it was to die of the ring";
  guest.Send(kWakeUpPort, "next");
  ASSERT_TRUE(IsReadable(daemon.Get()));
  EXPECT_EQ(daemon.Drain(), 2);
}

TEST_F(WakeUpTest, AnEndpointIsNotTakenForAnotherOneOfItsName) {
  GuestSocket guest(5, kGuestPort);
  for (int i = 0; i < kOften; ++i) {
    ASSERT_EQ(daemon.Send(5, kGuestPort, "x"), 0);
    ASSERT_TRUE(guest.Receive(kWakeUpPatience));
  }
  // The socket of the VM that was stays open.
  host->Remove(5);
  host.AddVm(5);
  GuestSocket successor(5, kGuestPort);
  ASSERT_EQ(daemon.Send(5, kGuestPort, "x"), 0);
  EXPECT_TRUE(successor.Receive(kWakeUpPatience));
}

// Once killed while it waits, once closed while packets wait. It is a fork of a process that has sent
// already: each of the two rings the other one.
TEST_F(WakeUpTest, AReceiverThatHasGoneIsNoticedAndReplaced) {
  constexpr std::uint32_t kOther = kWakeUpPort + 1;
  GuestSocket guest(5);
  guest.Send(kWakeUpPort, "x");
  const pid_t child = fork();
  if (child == 0) {
    PlainSocket other;
    if (other.Bind(kOther) == 0) Serve(other, [](const PlainSocket& socket) { return Receive(socket); });
    _exit(1);
  }
  while (ErrorOfSendTo(kOther, guest) != 0) std::this_thread::yield();
  for (int i = 0; i < kOften; ++i) {
    ASSERT_TRUE(guest.Receive(kWakeUpPatience));
    guest.Send(kOther, "x");
  }
  ASSERT_TRUE(guest.Receive(kWakeUpPatience));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(ErrorOfSendTo(kOther, guest), ECONNRESET);
    PlainSocket next;
    ASSERT_EQ(next.Bind(kOther), 0);
    guest.Send(kOther, "x");
    EXPECT_TRUE(IsReadable(next.Get()));
  }
}

}  // namespace

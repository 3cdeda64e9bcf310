#include <gtest/gtest.h>

#include "testing/daemon.h"
#include "testing/subscriber.h"
#include "tests/daemon/kernelFaults.h"
#include "tests/daemon/liveSubscriber.h"

namespace {

using namespace Testing;
using std::chrono::milliseconds;

constexpr milliseconds kNoAnswer{300};

TEST(GuestTest, IsAnsweredByteForByte) {
  Daemon daemon;
  Vm vm(11);
  Krell::GuestSocket guest(vm.cid());
  EXPECT_EQ(Publish(guest, daemon, PublicationText(7, "a.b", "aGk=")),
            "{\n\"sequence\":7,\n\"status\":\"ok\",\n\"rateLimit\":2\n}");
  EXPECT_EQ(Publish(guest, daemon, R"({"header":{"sequence":8}})").substr(0, 72),
            "{\n\"sequence\":8,\n\"status\":\"bad\",\n\"diagnosis\":\"error(s): {65538, unmatched");
}

TEST(GuestTest, WithoutPrivilegeOrAboveItsRateIsNotHeard) {
  Daemon daemon;
  Vm plain(12, false);
  Krell::GuestSocket unprivileged(plain.cid());
  EXPECT_EQ(Publish(unprivileged, daemon, PublicationText(1, "a", ""), kNoAnswer), "");
  Vm vm(13);
  Krell::GuestSocket hasty(vm.cid());
  int answered = 0;
  for (int i = 0; i < 20; ++i) hasty.Send(daemon.vmPort(), PublicationText(1, "a", ""));
  while (hasty.Receive(kNoAnswer)) ++answered;
  EXPECT_GE(answered, 1);
  EXPECT_LE(answered, 4);
}

TEST(GuestTest, IsKnownByItsCurrentIdentity) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(14);
  auto subscriber = beacon.Subscribe(daemon);
  SharedHost().Add({15, "bios-old", "uuid-old", "vm-old", true});
  {
    Krell::GuestSocket guest(15);
    EXPECT_EQ(Publish(guest, daemon, PublicationText(1, "a", "")), GoodAcknowledgement(1));
    EXPECT_NE(subscriber.Next().find(R"("mgr_vm_id":"vm-old")"), std::string::npos);
  }
  SharedHost().Remove(15);
  Vm successor(15);
  Krell::GuestSocket guest(15);
  EXPECT_EQ(Publish(guest, daemon, PublicationText(2, "a", "")), GoodAcknowledgement(2));
  EXPECT_NE(subscriber.Next().find(R"("mgr_vm_id":"vm-15")"), std::string::npos);
  EXPECT_TRUE(daemon.WaitForLog("Evict cache entry, cid 15 mismatches cached bios uuid bios-old"));
}

TEST(GuestTest, AnswersARequestForHistoryToItsSubscriberAlone) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(16);
  auto other = beacon.Subscribe(daemon);
  auto subscriber = beacon.Subscribe(daemon, R"(,"topic_prefixes":["b","a.x"])");
  EXPECT_EQ(beacon.lastRequest, R"({ "pastSeconds": 60, "id": 1, "topicPrefixes": [ "a.x", "b" ] })");
  Vm vm(17);
  Krell::GuestSocket guest(vm.cid());
  EXPECT_EQ(Publish(guest, daemon, PublicationText(3, "b.c", "aGk=", R"(,"subscribers":[1])")),
            GoodAcknowledgement(3));
  const auto element = subscriber.Next();
  EXPECT_NE(element.find(R"("topic":"b.c")"), std::string::npos);
  EXPECT_NE(element.find(R"("payload":"aGk=")"), std::string::npos);
  EXPECT_NE(element.find(R"("history":true)"), std::string::npos);
  EXPECT_EQ(Publish(guest, daemon, PublicationText(4, "b.d", "")), GoodAcknowledgement(4));
  EXPECT_NE(subscriber.Next().find(R"("history":false)"), std::string::npos);
  EXPECT_NE(other.Next().find(R"("topic":"b.d")"), std::string::npos);
}

TEST(GuestTest, IsAskedForHistoryIfItPublishedLatelyAndIsWanted) {
  Daemon daemon;
  // They are asked in the order of their start, and the last one's request comes last.
  const Vm vms[] = {Vm(18), Vm(19), Vm(20)};
  Krell::GuestSocket silent(18, 766);
  Krell::GuestSocket unwanted(19, 766);
  Krell::GuestSocket guest(20, 766);
  EXPECT_EQ(Publish(unwanted, daemon, PublicationText(1, "a", "")), GoodAcknowledgement(1));
  EXPECT_EQ(Publish(guest, daemon, PublicationText(1, "a", "")), GoodAcknowledgement(1));
  Subscriber subscriber(
      daemon.port(),
      R"({"vm_id_type":"MGR_VM_ID","past_seconds":5,"vm_filter":[{"mgr_vm_id":"vm-18"},{"mgr_vm_id":"vm-20"}]})");
  const auto request = guest.Receive(std::chrono::seconds(20));
  ASSERT_TRUE(request);
  EXPECT_EQ(request->text, R"({ "pastSeconds": 5, "id": 0 })");
  EXPECT_FALSE(silent.Receive(milliseconds(0)));
  EXPECT_FALSE(unwanted.Receive(milliseconds(0)));
}

std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t times = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++times;
  return times;
}

// The sender of a datagram that could not be received.
constexpr const char kNobody[] = "Cannot retrieve cid info for endpoint 4294967295";

TEST(GuestTest, IsServedBehindFaultsOfOthers) {
  const KernelFaults faults(
      "recvmsg EINTR 1\nrecvmsg EAGAIN 1\ngetsockopt 3 ENOTCONN 1\nsendmsg ENOBUFS 1\nsendmsg EAGAIN 1\n");
  Daemon daemon;
  const Vm vms[] = {Vm(83), Vm(84), Vm(85)};
  Krell::GuestSocket unknown(83);
  Krell::GuestSocket unanswered(84);
  Krell::GuestSocket last(85);
  unknown.Send(daemon.vmPort(), PublicationText(1, "a", ""));
  unanswered.Send(daemon.vmPort(), PublicationText(2, "a", ""));
  EXPECT_EQ(Publish(last, daemon, PublicationText(3, "a", "")), GoodAcknowledgement(3));
  EXPECT_FALSE(unknown.Receive(milliseconds(0)));
  EXPECT_FALSE(unanswered.Receive(milliseconds(0)));
  const auto log = daemon.Log();
  EXPECT_EQ(Count(log, "Packet receiving interrupted by a signal"), 1U);
  EXPECT_EQ(Count(log, "Cannot retrieve cid info for endpoint 83"), 1U);
  EXPECT_EQ(Count(log, "Cannot send response: "), 1U);
  EXPECT_EQ(Count(log, "Cannot send response: No buffer space available"), 1U);
  EXPECT_EQ(Count(log, kNobody), 0U);
}

TEST(GuestTest, IsServedWhenReceivingWorksAgain) {
  const KernelFaults faults("recvmsg ENETDOWN 3\n");
  Daemon daemon;
  const Vm vm(87);
  Krell::GuestSocket guest(vm.cid());
  EXPECT_EQ(Publish(guest, daemon, PublicationText(1, "a", "")), GoodAcknowledgement(1));
  EXPECT_EQ(Publish(guest, daemon, PublicationText(2, "a", "")), GoodAcknowledgement(2));
  const auto log = daemon.Log();
  EXPECT_EQ(Count(log, kNobody), 1U);
  EXPECT_EQ(Count(log, "Receiving packets keeps failing, Network is down"), 1U);
  EXPECT_EQ(Count(log, "Receiving packets works again"), 1U);
}

// So many failures are over in a moment for a thread that doesn't rest.
TEST(GuestTest, IsNotServedByASpinningThread) {
  const KernelFaults faults("recvmsg ENETDOWN 10000\n");
  Daemon daemon;
  ASSERT_TRUE(daemon.WaitForLog("Receiving packets keeps failing"));
  const Vm vm(88);
  Krell::GuestSocket guest(vm.cid());
  EXPECT_EQ(Publish(guest, daemon, PublicationText(1, "a", ""), kNoAnswer), "");
}

}  // namespace

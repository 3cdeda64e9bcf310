#include <gtest/gtest.h>

#include "tests/daemon/liveSubscriber.h"
#include "tests/support/daemon.h"
#include "tests/support/subscriber.h"

namespace {

using namespace Support;
using std::chrono::milliseconds;

constexpr milliseconds kNoAnswer{300};

TEST(Guest, IsAnsweredByteForByte) {
  Daemon daemon;
  Vm vm(11);
  Krell::GuestSocket guest(vm.cid());
  EXPECT_EQ(Publish(guest, daemon, PublicationText(7, "a.b", "aGk=")),
            "{\n\"sequence\":7,\n\"status\":\"ok\",\n\"rateLimit\":2\n}");
  EXPECT_EQ(Publish(guest, daemon, R"({"header":{"sequence":8}})").substr(0, 72),
            "{\n\"sequence\":8,\n\"status\":\"bad\",\n\"diagnosis\":\"error(s): {65538, unmatched");
}

TEST(Guest, WithoutPrivilegeOrAboveItsRateIsNotHeard) {
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

TEST(Guest, IsKnownByItsCurrentIdentity) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(14);
  auto subscriber = beacon.Subscribe(daemon);
  TestHost().Add({15, "bios-old", "uuid-old", "vm-old", true});
  {
    Krell::GuestSocket guest(15);
    EXPECT_EQ(Publish(guest, daemon, PublicationText(1, "a", "")), GoodAcknowledgement(1));
    EXPECT_NE(subscriber.Next().find(R"("mgr_vm_id":"vm-old")"), std::string::npos);
  }
  TestHost().Remove(15);
  Vm successor(15);
  Krell::GuestSocket guest(15);
  EXPECT_EQ(Publish(guest, daemon, PublicationText(2, "a", "")), GoodAcknowledgement(2));
  EXPECT_NE(subscriber.Next().find(R"("mgr_vm_id":"vm-15")"), std::string::npos);
  EXPECT_TRUE(daemon.WaitForLog("Evict cache entry, cid 15 mismatches cached bios uuid bios-old"));
}

TEST(Guest, AnswersARequestForHistoryToItsSubscriberAlone) {
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

TEST(Guest, ThatPublishedLatelyIsAskedForHistoryByDefault) {
  Daemon daemon;
  Beacon silent(18);
  Vm vm(19);
  Krell::GuestSocket guest(vm.cid(), 766);
  EXPECT_EQ(Publish(guest, daemon, PublicationText(1, "a", "")), GoodAcknowledgement(1));
  Subscriber subscriber(daemon.port(), R"({"vm_id_type":"MGR_VM_ID","past_seconds":5})");
  const auto request = guest.Receive(std::chrono::seconds(20));
  ASSERT_TRUE(request);
  EXPECT_EQ(request->text, R"({ "pastSeconds": 5, "id": 0 })");
}

}  // namespace

#include <gtest/gtest.h>

#include "lib/public/api/guestLimits.h"
#include "testing/daemon.h"
#include "testing/subscriber.h"
#include "tests/daemon/liveSubscriber.h"

namespace {

using namespace Testing;

constexpr const char kCleanStream[] = "application/vnd.tessaly.mirel.clean.stream.json";

TEST(StreamTest, ArrivesInChunksAndFramesByteForByte) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(31);
  auto subscriber = beacon.Subscribe(daemon);
  Vm vm(32);
  Krell::GuestSocket guest(vm.cid());
  ASSERT_EQ(Publish(guest, daemon, PublicationText(1, "a.b", "aGk=")), GoodAcknowledgement(1));
  EXPECT_EQ(subscriber.ReadHead(),
            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n"
            "Content-Type: application/vnd.tessaly.mirel.clean.stream.json\r\n"
            "Connection: Keep-Alive\r\nServer: Mirel-PicoHttp\r\n\r\n");
  const std::string json =
      R"({"jsonrpc":"2.0","id":1,"result":{"payload":"aGk=","topic":"a.b","vm_id_type":"MGR_VM_ID",)"
      R"("mgr_vm_id":"vm-32","create_time":"2026-11-24T21:15:00Z","token":"t","history":false}})";
  char sizes[32];
  std::snprintf(sizes, sizeof sizes, "%zx\r\n%zx\r\n", json.size() + 6, json.size());
  const auto expected = sizes + json + "\r\n\r\n";
  EXPECT_EQ(subscriber.connection().ReceiveExactly(expected.size()), expected);
}

TEST(StreamTest, LargestPublicationArrivesWhole) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(33);
  auto subscriber = beacon.Subscribe(daemon);
  Vm vm(34);
  Krell::GuestSocket guest(vm.cid());
  const auto overhead = PublicationText(1, "a", "").size();
  const std::string payload((NornHesper::kLargestDatagram - overhead) / 4 * 4, 'Q');
  ASSERT_EQ(Publish(guest, daemon, PublicationText(1, "a", payload)), GoodAcknowledgement(1));
  EXPECT_NE(subscriber.Next().find("\"payload\":\"" + payload + "\""), std::string::npos);
}

TEST(StreamTest, InvalidTextFromAGuestIsValidJsonForTheSubscriber) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(35);
  auto subscriber = beacon.Subscribe(daemon);
  Vm vm(36);
  Krell::GuestSocket guest(vm.cid());
  ASSERT_EQ(Publish(guest, daemon, PublicationText(1, "a.\xff\\u0001\\\"", "")), GoodAcknowledgement(1));
  EXPECT_NE(subscriber.Next().find("\"topic\":\"a.\xef\xbf\xbd\\u0001\\\"\""), std::string::npos);
}

TEST(StreamTest, ClientWithoutStreamSupportGetsOneElement) {
  Daemon daemon({.settings = kAskAll});
  Vm vm(37);
  Krell::GuestSocket guest(vm.cid(), 766);
  Connection connection(daemon.port());
  connection.Send(CallRequest(kSubscribe, R"({"spec":{"vm_id_type":"BIOS_UUID","past_seconds":1}})",
                              "application/json", "Connection: close\r\n"));
  ASSERT_TRUE(guest.Receive(std::chrono::seconds(20)));
  ASSERT_EQ(Publish(guest, daemon, PublicationText(1, "a", "")), GoodAcknowledgement(1));
  const auto answer = connection.ReceiveAll();
  EXPECT_NE(answer.find("Content-Type: application/json\r\n"), std::string::npos);
  EXPECT_NE(answer.find("bios-37"), std::string::npos);
  EXPECT_TRUE(answer.ends_with("\r\n0\r\n\r\n"));
}

TEST(StreamTest, RefusedCallIsToldInHeaderAndBody) {
  Daemon daemon;
  Connection connection(daemon.port());
  const auto refusal = [&](std::string_view method, std::string_view input) {
    connection.Send(CallRequest(method, input, kCleanStream));
    return connection.ReceiveThrough("\r\n0\r\n\r\n");
  };
  auto answer = refusal(kSubscribe, R"({"spec":{"vm_id_type":"MGR_VM_ID","topic_prefixes":["a."]}})");
  EXPECT_NE(answer.find("mirel-error: com.tessaly.mirel.std.errors.invalid_argument\r\n"), std::string::npos);
  EXPECT_NE(answer.find("Specified topic prefix should not have trailing dot"), std::string::npos);
  answer = refusal("com.tessaly.norn.hesper.guest_data.publish", "{}");
  EXPECT_NE(answer.find("mirel-error: com.tessaly.mirel.std.errors.operation_not_found\r\n"),
            std::string::npos);
}

TEST(StreamTest, MetadataAndIntrospectionAreServed) {
  Daemon daemon;
  Connection connection(daemon.port());
  const auto call = [&](std::string_view method, std::string_view input) {
    connection.Send(CallRequest(method, input, "application/vnd.tessaly.mirel.cleanjson"));
    return connection.ReceiveThrough("\r\n0\r\n\r\n");
  };
  EXPECT_NE(call("com.tessaly.mirel.std.introspection.service.list", "{}")
                .find("com.tessaly.norn.hesper.guest_data"),
            std::string::npos);
  EXPECT_NE(call("com.tessaly.mirel.metadata.metamodel.service.operation.list",
                 R"({"service_id":"com.tessaly.norn.hesper.guest_data"})")
                .find("\"subscribe\""),
            std::string::npos);
}

TEST(StreamTest, NegativeQueueLimitKeepsEveryRepetition) {
  Daemon daemon({.settings = std::string(kAskAll) + "<mirelQueueLimit>-1</mirelQueueLimit>"});
  Beacon beacon(81);
  auto subscriber = beacon.Subscribe(daemon);
  Vm vm(82);
  Krell::GuestSocket guest(vm.cid());
  constexpr int kTimes = 3000;
  std::string ids = "0";
  for (int i = 1; i < kTimes; ++i) ids += ",0";
  ASSERT_EQ(Publish(guest, daemon, PublicationText(1, "repeated", "", ",\"subscribers\":[" + ids + "]")),
            GoodAcknowledgement(1));
  ASSERT_EQ(Publish(guest, daemon, PublicationText(2, "last", "")), GoodAcknowledgement(2));
  int received = 0;
  while (subscriber.Next().find(R"("topic":"repeated")") != std::string::npos) ++received;
  EXPECT_EQ(received, kTimes);
}

TEST(StreamTest, GoneClientIsForgottenAndOthersGoOn) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(38);
  auto stays = beacon.Subscribe(daemon);
  {
    auto leaves = beacon.Subscribe(daemon);
    leaves.connection().Reset();
  }
  Vm vm(39);
  Krell::GuestSocket guest(vm.cid());
  for (std::uint64_t i = 1; i <= 2; ++i) {
    ASSERT_EQ(Publish(guest, daemon, PublicationText(i, "a", "")), GoodAcknowledgement(i));
    EXPECT_NE(stays.Next().find("\"topic\":\"a\""), std::string::npos);
  }
  EXPECT_TRUE(daemon.WaitForLog("Failed to sent response"));
}

}  // namespace

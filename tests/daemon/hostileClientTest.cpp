#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <vector>

#include "testing/daemon.h"
#include "testing/subscriber.h"
#include "tests/daemon/liveSubscriber.h"

namespace {

using namespace Testing;

constexpr const char kList[] = "com.tessaly.mirel.std.introspection.service.list";
constexpr const char kJson[] = "application/json";

std::string Post(std::string_view headers, std::string_view body) {
  return "POST /api HTTP/1.1\r\nContent-Type: application/json\r\n" + std::string(headers) + "\r\n" +
         std::string(body);
}

long MemoryKiB(const Daemon& daemon) {
  std::ifstream file("/proc/" + std::to_string(daemon.pid()) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  }
  return 0;
}

bool Serves(const Daemon& daemon) {
  Connection connection(daemon.port());
  connection.Send(CallRequest(kList, "{}", kJson, "Connection: close\r\n"));
  return connection.ReceiveAll().starts_with("HTTP/1.1 200 OK\r\n");
}

TEST(HostileClientTest, RequestSplitAnywhereGetsTheSameAnswer) {
  Daemon daemon;
  const auto request = CallRequest(kList, "{}", kJson);
  std::string whole;
  for (std::size_t cut = 0; cut < request.size(); ++cut) {
    Connection connection(daemon.port());
    connection.Send(std::string_view(request).substr(0, cut));
    connection.Send(std::string_view(request).substr(cut));
    const auto answer = connection.ReceiveThrough("\r\n0\r\n\r\n");
    if (whole.empty()) whole = answer;
    ASSERT_EQ(answer, whole) << "cut at " << cut;
  }
}

TEST(HostileClientTest, BadRequestsAreRefusedAndLoseNothingElse) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(51);
  auto subscriber = beacon.Subscribe(daemon);
  const std::string refused = "HTTP/1.1 400 Bad Request\r\n";
  const std::string nested(2'400'000, '[');
  const std::vector<std::pair<std::string, std::string>> cases = {
      {std::string(5000, 'x'), refused},
      {std::string("GET /\0 HTTP/1.1\r\n\r\n", 18), refused},
      {Post("Content-Length: ten\r\n", ""), refused},
      {Post("Content-Length: 99999999999999999999999\r\n", ""), refused},
      {Post("Transfer-Encoding: chunked\r\n", "ffffffffffffffff\r\nx"), refused},
      {Post("Transfer-Encoding: chunked\r\n", "fffffffffffffffff\r\nx"), refused},
      {Post("Transfer-Encoding: chunked\r\n", "zz\r\n"), refused},
      {Post("Content-Length: 2500001\r\n", std::string(2500001, ' ')), refused},
      {Post("Expect: something\r\nContent-Length: 1\r\n", ""), "HTTP/1.1 417 Expectation Failed\r\n"},
      {"POST / HTTP/1.1\r\nContent-Type: text/plain\r\nContent-Length: 2\r\n\r\n{}" +
           CallRequest(kList, "{}", kJson),
       refused},
      {Post("Connection: close\r\nContent-Length: 2400000\r\n", nested), "HTTP/1.1 200 OK\r\n"},
      {Post("Connection: close\r\nContent-Length: 3\r\n", "nul"), "HTTP/1.1 200 OK\r\n"},
  };
  for (const auto& [request, expected] : cases) {
    SCOPED_TRACE(request.substr(0, 120));
    Connection connection(daemon.port());
    connection.Send(request);
    // The size that lies within reach waits for its body: its end has to come from the client.
    if (request.find("\nffffffffffffffff\r") != std::string::npos) {
      connection.Reset();
      continue;
    }
    std::string answer;
    for (auto bytes = connection.Receive(); !bytes.empty(); bytes = connection.Receive()) answer += bytes;
    EXPECT_EQ(answer.substr(0, expected.size()), expected);
    EXPECT_EQ(answer.find("HTTP/1.1", 1), std::string::npos)
        << "answered what stood behind a refused request";
  }
  EXPECT_TRUE(Serves(daemon));
  Vm vm(52);
  Krell::GuestSocket guest(vm.cid());
  ASSERT_EQ(Publish(guest, daemon, PublicationText(1, "a", "")), GoodAcknowledgement(1));
  EXPECT_NE(subscriber.Next().find("\"topic\":\"a\""), std::string::npos);
}

TEST(HostileClientTest, ACrowdOfConnectionsKeepsNobodyOut) {
  if (SANITIZED) GTEST_SKIP() << "the sanitizer's own checks need descriptors";
  Daemon daemon({.settings = kAskAll, .maxFiles = 128});
  Beacon beacon(55);
  auto subscriber = beacon.Subscribe(daemon);
  Vm vm(56);
  Krell::GuestSocket guest(vm.cid());
  std::vector<std::unique_ptr<Connection>> crowd;
  for (int i = 0; i < 300; ++i) crowd.push_back(std::make_unique<Connection>(daemon.port()));
  ASSERT_EQ(Publish(guest, daemon, PublicationText(1, "a", "")), GoodAcknowledgement(1));
  EXPECT_NE(subscriber.Next().find("\"topic\":\"a\""), std::string::npos);
  EXPECT_TRUE(Serves(daemon));
  auto late = beacon.Subscribe(daemon);
  const auto log = daemon.Log();
  EXPECT_EQ(log.find("Accept Error"), std::string::npos);
  EXPECT_EQ(log.find("Evict cache entry"), std::string::npos);
}

TEST(HostileClientTest, IdleAndHalfRequestsCostLittle) {
  Daemon daemon;
  ASSERT_TRUE(Serves(daemon));
  const auto before = MemoryKiB(daemon);
  std::vector<std::unique_ptr<Connection>> idle;
  for (int i = 0; i < 900; ++i) {
    idle.push_back(std::make_unique<Connection>(daemon.port()));
    if (i % 3 == 1) idle.back()->Send("POST /api HTTP/1.1\r\nContent-Ty");
    if (i % 3 == 2) idle.back()->Send(Post("Content-Length: 2000000\r\n", "{"));
  }
  EXPECT_TRUE(Serves(daemon));
  // A sanitizer's own book-keeping is not the daemon's.
  if (!SANITIZED) {
    EXPECT_LT(MemoryKiB(daemon) - before, 900 * 16);
  }
}

TEST(HostileClientTest, StalledReadersCostOthersNothing) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(53);
  constexpr int kSmallBuffer = 4096;
  std::vector<Subscriber> stalled;
  for (int i = 0; i < 20; ++i) stalled.push_back(beacon.Subscribe(daemon, "", kSmallBuffer));
  auto reader = beacon.Subscribe(daemon);
  const std::string payload(60000, 'Q');
  const auto before = MemoryKiB(daemon);
  // A VM of its own for each, as one may send twice a second only.
  for (std::uint32_t i = 0; i < 100; ++i) {
    Vm vm(3000 + i);
    Krell::GuestSocket guest(vm.cid());
    const auto topic = "n" + std::to_string(i);
    ASSERT_EQ(Publish(guest, daemon, PublicationText(i, topic, payload)), GoodAcknowledgement(i));
    ASSERT_NE(reader.Next().find("\"" + topic + "\""), std::string::npos);
  }
  EXPECT_NE(daemon.Log().find("Dropped Mirel client queue for subscription "), std::string::npos);
  // Streams share the publications that they hold; each one's own part is small.
  if (!SANITIZED) {
    EXPECT_LT(MemoryKiB(daemon) - before, 64 * 1024);
  }
}

}  // namespace

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fleet/exporter/connectionWatch.h"
#include "platform/corvane/fileDescriptor.h"
#include "testing/daemon.h"
#include "testing/eventually.h"
#include "tests/exporter/exporterProcess.h"

namespace Testing {
namespace {

class BoundsTest : public ::testing::Test {
 protected:
  Daemon daemon_;
  ExporterProcess exporter_{daemon_.port()};
};

TEST_F(BoundsTest, LongRequestsAreRefused) {
  const auto host = "Host: " + exporter_.Host() + "\r\n";
  EXPECT_EQ(exporter_.Post("/login", std::string(16385, ' ')).status, 413U);
  EXPECT_EQ(exporter_.Post("/login", std::string(16384, ' ')).status, 400U);
  Connection chunked(exporter_.port());
  chunked.Send("POST /login HTTP/1.1\r\nConnection: close\r\nTransfer-Encoding: chunked\r\n" + host + "\r\n");
  for (int i = 0; i < 20; ++i) chunked.Send("400\r\n" + std::string(1024, ' ') + "\r\n");
  chunked.Send("0\r\n\r\n");
  EXPECT_EQ(ReadAnswer(chunked).status, 413U);
  for (const char* length : {"99999999999999999999999", "-1", "1x"}) {
    Connection lying(exporter_.port());
    lying.Send("POST /login HTTP/1.1\r\n" + host + "Content-Length: " + length + "\r\n\r\n");
    const auto status = ReadAnswer(lying).status;
    EXPECT_TRUE(status == 400 || status == 413) << length << ": " << status;
  }
  Connection longHead(exporter_.port());
  longHead.Send("GET / HTTP/1.1\r\n" + host + "X: " + std::string(100'000, 'x') + "\r\n\r\n");
  EXPECT_EQ(ReadAnswer(longHead).status, 431U);
  Connection longPath(exporter_.port());
  longPath.Send("GET /" + std::string(100'000, 'x') + " HTTP/1.1\r\n" + host + "\r\n");
  const auto status = ReadAnswer(longPath).status;
  EXPECT_TRUE(status == 414 || status == 431) << status;
  EXPECT_EQ(exporter_.Get("/").status, 200U);
}

TEST_F(BoundsTest, OneUserHasNotAllConnections) {
  std::vector<std::unique_ptr<Connection>> held;
  held.reserve(200);
  for (int i = 0; i < 200; ++i) held.push_back(std::make_unique<Connection>(exporter_.port()));
  EXPECT_TRUE(Eventually([&] { return exporter_.process().Descriptors() > 60; }));
  Connection late(exporter_.port());
  EXPECT_EQ(late.ReceiveAll(), "");
  EXPECT_TRUE(Eventually([&] { return exporter_.process().Descriptors() < 64U + 20U; }));
  held.clear();
  EXPECT_TRUE(Eventually([&] {
    try {
      return exporter_.Get("/").status == 200;
    } catch (const std::exception&) {
      return false;
    }
  }));
}

TEST_F(BoundsTest, SlowClientLosesItsConnection) {
  // Each byte is progress, and yet the body has to end.
  Connection slow(exporter_.port());
  slow.Send("POST /login HTTP/1.1\r\nHost: " + exporter_.Host() + "\r\nContent-Length: 10000\r\n\r\n");
  const std::jthread trickle([&slow](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      slow.Send(" ");
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  });
  EXPECT_EQ(slow.ReceiveAll(), "");
}

TEST(ConnectionWatchTest, EachPhaseHasItsTime) {
  using Phase = Fleet::ConnectionWatch::Phase;
  const auto begin = std::chrono::steady_clock::now();
  for (const auto& [phase, seconds] :
       {std::pair{Phase::Idle, 30}, {Phase::Request, 10}, {Phase::Answer, 60}}) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    const Corvane::FileDescriptor server(ends[0]);
    const Corvane::FileDescriptor client(ends[1]);
    Fleet::ConnectionWatch watch;
    auto* const connection = watch.Add(server.Get(), 5, begin);
    watch.Enter(connection, phase, begin);
    char byte = 0;
    watch.Tick(begin + std::chrono::seconds(seconds));
    EXPECT_EQ(recv(client.Get(), &byte, 1, 0), -1);
    watch.Tick(begin + std::chrono::seconds(seconds + 1));
    EXPECT_EQ(recv(client.Get(), &byte, 1, 0), 0);
    watch.Remove(connection);
    EXPECT_TRUE(watch.HasRoomFor(5));
  }
}

TEST_F(BoundsTest, ViewersAreBoundedAndMakeRoom) {
  const auto cookie = exporter_.Login();
  std::vector<std::unique_ptr<EventReader>> viewers;
  viewers.reserve(16);
  for (int i = 0; i < 16; ++i) viewers.push_back(std::make_unique<EventReader>(exporter_, cookie));
  EXPECT_EQ(exporter_.Get("/api/events", cookie).status, 503U);
  viewers.pop_back();
  // The one that has gone is noticed without a word to it.
  EXPECT_TRUE(
      Eventually([&] { return EventReader(exporter_, cookie).head().find(" 200 ") != std::string::npos; }));
}

}  // namespace
}  // namespace Testing

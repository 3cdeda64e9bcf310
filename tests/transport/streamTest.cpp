#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "framework/transport/connection/ioStream.h"
#include "tests/transport/testServer.h"

namespace Mirel::Transport {
namespace {

TEST(DeadlineTest, NeverWrapsAround) {
  using Clock = std::chrono::steady_clock;
  using std::chrono::nanoseconds;
  const auto now = Clock::now();
  EXPECT_EQ(Asio::Deadline<Clock>(now, nanoseconds(5)), now + nanoseconds(5));
  EXPECT_EQ(Asio::Deadline<Clock>(now, nanoseconds::max()), Clock::time_point::max());
  EXPECT_EQ(Asio::Deadline<Clock>(Clock::time_point::min() + nanoseconds(1), nanoseconds(-2)),
            Clock::time_point::min());
}

TEST(DeadlineTest, EndsAConnectionThatStandsStillInARequest) {
  PicoHttp::ServerConfig config;
  config.readTimeout = std::chrono::milliseconds(30);
  TestServer server(config);
  Client idle(server);
  Client inHead(server);
  Client inBody(server);
  inHead.Send("POST / HT");
  inBody.Send("POST / HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: 5\r\n\r\n{");
  EXPECT_EQ(idle.ReadToEnd(), "");
  EXPECT_EQ(inHead.ReadToEnd(), "");
  // The connection is shut down both ways, so that the answer cannot be sent any more.
  EXPECT_EQ(inBody.ReadToEnd(), "");
  EXPECT_TRUE(
      server.RunUntil([&] { return !server.logger->Lines("1 Sent InvalidRequest response:[").empty(); }));
  EXPECT_EQ(server.logger->Lines("1 Failed to send InvalidRequest response:[").size(), 1U);
}

TEST(DeadlineTest, DoesNotTouchAResponseThatStandsIdle) {
  PicoHttp::ServerConfig config;
  config.readTimeout = config.writeTimeout = std::chrono::milliseconds(20);
  TestServer server(config);
  std::optional<Core::AsyncApiResultCb> result;
  server.provider->script = [&](const Call& call) { result = call.result; };
  Client client(server);
  client.Send(Request());
  ASSERT_TRUE(server.RunUntil([&] { return result.has_value(); }));
  // A later connection's deadline shows that the time has passed.
  Client later(server);
  EXPECT_EQ(later.ReadToEnd(), "");
  (*result)(Core::MethodResult::GetInstance(Data::DataValue::Create("late")), {}, nullptr);
  EXPECT_NE(client.ReadAnswer().find("late"), std::string::npos);
}

}  // namespace
}  // namespace Mirel::Transport

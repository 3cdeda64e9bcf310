#include <gtest/gtest.h>
#include <sys/resource.h>

#include <sstream>
#include <thread>

#include "framework/transport/acceptOutcome.h"
#include "framework/transport/serverConfig.h"
#include "framework/transport/transportErrors.h"
#include "tests/transport/testServer.h"

namespace Mirel::Transport {
namespace {

using PicoHttp::AsioTcpApiServer;

const AsioTcpApiServer::Endpoint kAny4(boost::asio::ip::make_address("127.0.0.1"), 0);
const AsioTcpApiServer::Endpoint kAny6(boost::asio::ip::make_address("::1"), 0);

struct BareServer {
  BareServer(boost::asio::io_context& io, const AsioTcpApiServer::Endpoint& endpoint4,
             const AsioTcpApiServer::Endpoint& endpoint6)
      : server(io, endpoint4, endpoint6, nullptr, Asio::Enqueuer(io), logger, nullptr, {}) {}
  std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
  AsioTcpApiServer server;
};

TEST(AsioTcpApiServer, PrintsItsConfigurationAndThePortsThatItGot) {
  boost::asio::io_context io;
  BareServer bare(io, kAny4, kAny6);
  EXPECT_EQ(
      bare.logger->Lines("2 ServerConfig").front(),
      "2 ServerConfig{endpoint4:127.0.0.1:0;endpoint6:[::1]:0;Localizer not set;readTimeout:20 minutes;"
      "writeTimeout:30 minutes;httpBodySizeLimitInBytes:2500000;ProtocolHandlerSpec::extractors not set}");
  EXPECT_FALSE(bare.server.Start());
  const auto lines = bare.logger->Lines("2 Listening on: ");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_NE(bare.server.Endpoint4().port(), 0);
  EXPECT_EQ(lines[0], "2 Listening on: 127.0.0.1:" + std::to_string(bare.server.Endpoint4().port()));
  EXPECT_EQ(lines[1], "2 Listening on: [::1]:" + std::to_string(bare.server.Endpoint6().port()));
}

TEST(AsioTcpApiServer, IsContentWithOneFamily) {
  boost::asio::io_context io;
  BareServer first(io, kAny4, kAny6);
  ASSERT_FALSE(first.server.Start());
  BareServer second(io, first.server.Endpoint4(), kAny6);
  EXPECT_FALSE(second.server.Start());
  EXPECT_EQ(second.logger->Lines("2 IPv4 Failed to listen on: ").front(),
            "2 IPv4 Failed to listen on: " + EndpointToString(first.server.Endpoint4()) + " ec: system:98");
  BareServer third(io, first.server.Endpoint4(), first.server.Endpoint6());
  const auto error = third.server.Start();
  EXPECT_EQ(error, PicoHttp::Error::Code::FailedToListen);
  EXPECT_EQ(error.message(), "server failed to listen");
}

TEST(AsioTcpApiServer, GoesOnAcceptingAfterRunningOutOfDescriptors) {
  TestServer server;
  Client first(server);
  first.Send(Request());
  first.ReadAnswer();
  Client waiting(server);
  // All descriptors below the limit are taken: the next accept has none.
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const int lowestFree = ::dup(0);
  ::close(lowestFree);
  const rlimit none{static_cast<rlim_t>(lowestFree), before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const auto failures = [&] { return server.logger->Lines("4 Accept Error: system:24 "); };
  EXPECT_TRUE(server.RunUntil([&] { return failures().size() >= 4; }));
  server.Settle();
  EXPECT_EQ(failures().size(), 4U) << "a lack of descriptors must not make a busy loop";
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_NE(failures().front().find(";DelayAcceptError.Acceptor info:LocalEndpoint:127.0.0.1:"),
            std::string::npos);
  waiting.Send(Request());
  EXPECT_NE(waiting.ReadAnswer().find("ok"), std::string::npos);
  Client later(server);
  later.Send(Request());
  EXPECT_NE(later.ReadAnswer().find("ok"), std::string::npos);
}

TEST(AsioTcpApiServer, LeavesConnectionsAloneWhenItIsDestroyed) {
  boost::asio::io_context io;
  auto bare = std::make_unique<BareServer>(io, kAny4, kAny6);
  ASSERT_FALSE(bare->server.Start());
  const auto endpoint = bare->server.Endpoint4();
  const auto logger = bare->logger;
  const int client = ::socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_EQ(::connect(client, endpoint.data(), static_cast<socklen_t>(endpoint.size())), 0);
  io.poll();
  bare.reset();
  io.poll();
  EXPECT_EQ(logger->Lines("4 Accept Error: system:125 ").size(), 2U);
  ASSERT_EQ(::send(client, "nonsense\r\n\r\n", 12, MSG_NOSIGNAL), 12);
  io.run();
  char answer[256];
  EXPECT_EQ(std::string(answer, static_cast<std::size_t>(::recv(client, answer, sizeof answer, 0))),
            kBadHead);
  ::close(client);
}

TEST(AsioTcpApiServer, ServesManyConnectionsOnSeveralThreads) {
  TestServer server;
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back([&] { server.io.run(); });
  {
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 50; ++i) clients.push_back(std::make_unique<Client>(server));
    for (int round = 0; round < 5; ++round) {
      for (auto& client : clients) client->Send(Request());
      for (auto& client : clients) EXPECT_NE(client->ReadAnswer().find("ok"), std::string::npos);
    }
  }
  server.io.stop();
  for (auto& thread : threads) thread.join();
}

TEST(DurationText, TakesTheLargestUnit) {
  using PicoHttp::DurationText;
  using namespace std::chrono;
  EXPECT_EQ(DurationText(nanoseconds(999)), "999 nanoseconds");
  EXPECT_EQ(DurationText(nanoseconds(1000)), "1 microseconds");
  EXPECT_EQ(DurationText(nanoseconds(999999999)), "999 milliseconds");
  EXPECT_EQ(DurationText(seconds(59)), "59 seconds");
  EXPECT_EQ(DurationText(seconds(60)), "1 minutes");
  EXPECT_EQ(DurationText(seconds(125)), "2 minutes and 5 seconds");
}

}  // namespace
}  // namespace Mirel::Transport

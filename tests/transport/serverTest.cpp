#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "framework/transport/connection/acceptOutcome.h"
#include "framework/transport/serverConfig.h"
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

TEST(AsioTcpApiServerTest, PrintsItsConfigurationAndIsContentWithOneFamily) {
  boost::asio::io_context io;
  BareServer first(io, kAny4, kAny6);
  EXPECT_EQ(
      first.logger->Lines("2 ServerConfig").front(),
      "2 ServerConfig{endpoint4:127.0.0.1:0;endpoint6:[::1]:0;Localizer not set;readTimeout:20 minutes;"
      "writeTimeout:30 minutes;httpBodySizeLimitInBytes:2500000;ProtocolHandlerSpec::extractors not set}");
  ASSERT_FALSE(first.server.Start());
  EXPECT_EQ(first.logger->Lines("2 Listening on: "),
            (std::vector<std::string>{
                "2 Listening on: 127.0.0.1:" + std::to_string(first.server.Endpoint4().port()),
                "2 Listening on: [::1]:" + std::to_string(first.server.Endpoint6().port())}));
  BareServer second(io, first.server.Endpoint4(), kAny6);
  EXPECT_FALSE(second.server.Start());
  EXPECT_EQ(second.logger->Lines("2 IPv4 Failed to listen on: ").front(),
            "2 IPv4 Failed to listen on: " + EndpointToString(first.server.Endpoint4()) + " ec: system:98");
  BareServer third(io, first.server.Endpoint4(), first.server.Endpoint6());
  EXPECT_EQ(third.server.Start().message(), "server failed to listen");
}

TEST(AsioTcpApiServerTest, LeavesConnectionsAloneWhenItIsDestroyed) {
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

TEST(AsioTcpApiServerTest, ServesManyConnectionsOnSeveralThreads) {
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

}  // namespace
}  // namespace Mirel::Transport

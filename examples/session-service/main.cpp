#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>

#include "examples/session-service/providerChain.h"
#include "framework/provider/localization.h"
#include "framework/transport/asioTcpApiServer.h"
#include "lib/sarnMirel/corvaneWrapLogger.h"
#include "platform/corvane/app.h"
#include "platform/corvane/exception.h"

namespace {

using Mirel::Transport::PicoHttp::AsioTcpApiServer;

// Listens on the loopback addresses alone: passwords and sessions pass in plain text.
std::unique_ptr<AsioTcpApiServer> StartServer(boost::asio::io_context& io, const std::string& metadataFile) {
  const auto app = Corvane::Service::GetApp();
  std::int32_t port = 9990;
  app->GetConfig()->ReadInteger("port", &port, 1, 65535);
  const Mirel::Asio::Enqueuer enqueuer(io);
  Mirel::Transport::PicoHttp::ServerConfig config;
  config.readTimeout = std::chrono::minutes(1);
  config.writeTimeout = std::chrono::minutes(1);
  config.spec.localizer = Mirel::L10n::LocalizerHelpers::GetDefaultLocalizer();
  const auto endpoint = [port](const char* address) {
    return AsioTcpApiServer::Endpoint(boost::asio::ip::make_address(address),
                                      static_cast<std::uint16_t>(port));
  };
  auto server = std::make_unique<AsioTcpApiServer>(
      io, endpoint("127.0.0.1"), endpoint("::1"), SessionExample::BuildProviderChain(enqueuer, metadataFile),
      enqueuer, std::make_shared<SarnMirel::CorvaneWrapLoggger>(app->GetLogger()->CreateLogger("server")),
      nullptr, config);
  if (const auto error = server->Start()) throw Corvane::Exception("cannot listen: " + error.message());
  LogInternal(app->GetLogger().get(), 6, "session-service listens on port %1", port);
  return server;
}

}  // namespace

// session-service CONFIG_FILE METADATA_FILE: serves until SIGINT or SIGTERM.
int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: session-service CONFIG_FILE METADATA_FILE\n";
    return 64;
  }
  try {
    Corvane::Service::InitApp(argv[1]);
    boost::asio::io_context io;
    const auto server = StartServer(io, argv[2]);
    boost::asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&io](auto, auto) { io.stop(); });
    io.run();
    return 0;
  } catch (const std::exception& fault) {
    std::cerr << "session-service: " << fault.what() << '\n';
    return 1;
  }
}

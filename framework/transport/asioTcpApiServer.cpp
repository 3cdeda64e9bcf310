#include "framework/transport/asioTcpApiServer.h"

#include <boost/asio/ip/v6_only.hpp>
#include <optional>
#include <sstream>
#include <utility>

#include "framework/transport/connection/acceptOutcome.h"
#include "framework/transport/connection/admission.h"
#include "framework/transport/connection/ioStream.h"
#include "framework/transport/connection/streamServer.h"
#include "framework/transport/picoHttpApiRequestHandler.h"
#include "framework/transport/request/bodyBudget.h"
#include "framework/transport/request/bodyHttpHandler.h"
#include "framework/transport/request/picoHttpStreamHandler.h"
#include "framework/transport/request/transportErrors.h"
#include "framework/transport/request/turns.h"

namespace Mirel::Transport::PicoHttp {
namespace {

using boost::asio::ip::tcp;
using StreamHandler = PicoHttpStreamHandler<BodyHttpHandler<PicoHttpApiRequestHandler>>;
using TcpAcceptor = Asio::Acceptor<Asio::TcpListener, Asio::IoStream, Asio::IOTimeouts>;
using ServerSpec = Asio::StreamServerSpec<Asio::IoStream>;
using TcpStreamServer = Asio::StreamServer<TcpAcceptor, StreamHandler, Asio::AcceptAllCond, ServerSpec>;

constexpr int kBacklog = 128;
constexpr int kReceiveBuffer = 65536;

// Makes an accepted stream one of the server's connections.
struct StreamTuner {
  void operator()(Asio::IoStream& stream) const {
    if (!stream.LowestSocket().is_open()) return;
    // A result must not wait for the acknowledgement of the one before.
    boost::system::error_code ignored;
    stream.LowestSocket().set_option(tcp::no_delay(true), ignored);
    // A body that waits unread waits in its sender's memory, and not in this kernel's.
    stream.LowestSocket().set_option(boost::asio::socket_base::receive_buffer_size(kReceiveBuffer), ignored);
    keepAlive.Apply(stream.LowestSocket());
    stream.TableSlot().Join(connections, [&stream] { stream.Close(); });
  }

  Asio::KeepAlive keepAlive;
  std::shared_ptr<Asio::ConnectionTable> connections;
};

std::shared_ptr<Asio::PolymorphicStreamServer> MakeServer(boost::asio::io_context& io,
                                                          std::shared_ptr<Asio::TcpListener> listener,
                                                          const ServerConfig& config,
                                                          const StreamTuner& tuner,
                                                          const std::shared_ptr<Admission>& admission) {
  const auto& logger = config.spec.logger;
  auto handler = std::make_shared<const StreamHandler>(
      BodyHttpHandler<PicoHttpApiRequestHandler>(PicoHttpApiRequestHandler(config.spec), logger), logger);
  return std::make_shared<TcpStreamServer>(
      io, TcpAcceptor(std::move(listener), {config.readTimeout, config.writeTimeout}), std::move(handler),
      ServerSpec{tuner, [admission] { return admission->HasRoom(); }, logger});
}

}  // namespace

AsioTcpApiServer::AsioTcpApiServer(boost::asio::io_context& io, const Endpoint& endpoint4,
                                   const Endpoint& endpoint6,
                                   std::shared_ptr<Core::AsyncApiProvider> provider, Enqueuer enqueuer,
                                   std::shared_ptr<Log::Logger> logger,
                                   std::shared_ptr<const L10n::Localizer> localizer, ServerConfig config)
    : AsioTcpApiServer(io, std::nullopt, endpoint4, endpoint6, std::move(provider), std::move(enqueuer),
                       std::move(logger), std::move(localizer), std::move(config)) {}

AsioTcpApiServer::AsioTcpApiServer(boost::asio::io_context& io, std::uint16_t port,
                                   std::shared_ptr<Core::AsyncApiProvider> provider, Enqueuer enqueuer,
                                   std::shared_ptr<Log::Logger> logger,
                                   std::shared_ptr<const L10n::Localizer> localizer, ServerConfig config)
    : AsioTcpApiServer(io, port, Endpoint(), Endpoint(), std::move(provider), std::move(enqueuer),
                       std::move(logger), std::move(localizer), std::move(config)) {}

AsioTcpApiServer::AsioTcpApiServer(boost::asio::io_context& io, std::optional<std::uint16_t> port,
                                   const Endpoint& endpoint4, const Endpoint& endpoint6,
                                   std::shared_ptr<Core::AsyncApiProvider> provider, Enqueuer enqueuer,
                                   std::shared_ptr<Log::Logger> logger,
                                   std::shared_ptr<const L10n::Localizer> localizer, ServerConfig config)
    : port_(port), logger_(std::move(logger)) {
  config.spec.provider = std::move(provider);
  config.spec.enqueuer = std::move(enqueuer);
  config.spec.logger = logger_;
  config.spec.httpBodySizeLimitInBytes = config.httpBodySizeLimitInBytes;
  const bool ownLocalizer = localizer != nullptr;
  if (ownLocalizer) config.spec.localizer = std::move(localizer);

  config.spec.bodyBudget = Http::BodyBudget::Make(io.get_executor(), config.bodyBudgetInBytes);
  config.spec.turns = std::make_shared<Http::Turns>(io.get_executor());

  const auto connections =
      config.connections ? config.connections : std::make_shared<Asio::ConnectionTable>();
  const StreamTuner tuner{config.keepAlive, connections};
  const auto admission = std::make_shared<Admission>(config.descriptorReserve, connections, logger_);
  family4_.endpoint = endpoint4;
  family6_.endpoint = endpoint6;
  for (Family* family : {&family4_, &family6_}) {
    family->listener = std::make_shared<Asio::TcpListener>(io.get_executor());
    family->server = MakeServer(io, family->listener, config, tuner, admission);
  }
  LogConfig(config, ownLocalizer);
}

AsioTcpApiServer::~AsioTcpApiServer() {
  family4_.server->Stop();
  family6_.server->Stop();
}

boost::system::error_code AsioTcpApiServer::Start() {
  if (port_) {
    family4_.endpoint = Endpoint(tcp::v4(), *port_);
    family6_.endpoint = Endpoint(tcp::v6(), *port_);
  }
  Open(family4_, "IPv4");
  Open(family6_, "IPv6");
  if (family4_.error && family6_.error) return Error::Code::FailedToListen;
  return {};
}

void AsioTcpApiServer::Open(Family& family, const char* name) {
  family.error = Listen(family);
  if (!family.error) {
    Log::Write(logger_, kServer, "Listening on: ", EndpointToString(family.endpoint));
    family.error = family.server->Start();
  }
  if (!family.error) return;
  Log::Write(logger_, kServer, name, " Failed to listen on: ", EndpointToString(family.endpoint),
             " ec: ", family.error.category().name(), ":", family.error.value());
  boost::system::error_code ignored;
  family.listener->close(ignored);
}

boost::system::error_code AsioTcpApiServer::Listen(Family& family) {
  boost::system::error_code error;
  auto& listener = *family.listener;
  if (listener.open(family.endpoint.protocol(), error)) return error;
  if (listener.set_option(tcp::acceptor::reuse_address(true), error)) return error;
  // This throws: an IPv6 listener that also took IPv4 would be open to addresses that nobody has chosen.
  if (family.endpoint.address().is_v6()) listener.set_option(boost::asio::ip::v6_only(true));
  if (listener.bind(family.endpoint, error)) return error;
  if (listener.listen(kBacklog, error)) return error;
  const auto bound = listener.local_endpoint(error);
  if (!error) family.endpoint = bound;
  return error;
}

void AsioTcpApiServer::LogConfig(const ServerConfig& config, bool ownLocalizer) const {
  std::ostringstream text;
  if (port_) {
    text << "port:" << *port_;
  } else {
    text << "endpoint4:" << EndpointToString(family4_.endpoint)
         << ";endpoint6:" << EndpointToString(family6_.endpoint);
  }
  if (!ownLocalizer) text << ";Localizer not set";
  Log::Write(logger_, kServer, "ServerConfig{", text.str(), ";", config, "}");
}

}  // namespace Mirel::Transport::PicoHttp

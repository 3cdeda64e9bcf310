#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/l10n.h"
#include "framework/core/log.h"
#include "framework/transport/connection/ioTypes.h"
#include "framework/transport/serverConfig.h"

namespace Mirel::Asio {
class PolymorphicStreamServer;
}

namespace Mirel::Transport::PicoHttp {

// The listening end of the API: one listener per address family, each with its own accept loop. Its end stops
// the listening, and leaves accepted connections alone. Requires: the I/O context outlives it.
class AsioTcpApiServer {
 public:
  using Endpoint = boost::asio::ip::tcp::endpoint;
  using Enqueuer = std::function<void(std::function<void()>)>;

  // Opens nothing yet. The logger may be null. Provider, enqueuer and logger take the place of those in the
  // configuration's spec, and so does a localizer that isn't null.
  AsioTcpApiServer(boost::asio::io_context& io, const Endpoint& endpoint4, const Endpoint& endpoint6,
                   std::shared_ptr<Core::AsyncApiProvider> provider, Enqueuer enqueuer,
                   std::shared_ptr<Log::Logger> logger, std::shared_ptr<const L10n::Localizer> localizer,
                   ServerConfig config);
  // Listens on the port on every address of the host.
  AsioTcpApiServer(boost::asio::io_context& io, std::uint16_t port,
                   std::shared_ptr<Core::AsyncApiProvider> provider, Enqueuer enqueuer,
                   std::shared_ptr<Log::Logger> logger, std::shared_ptr<const L10n::Localizer> localizer,
                   ServerConfig config);
  ~AsioTcpApiServer();
  AsioTcpApiServer(const AsioTcpApiServer&) = delete;
  AsioTcpApiServer& operator=(const AsioTcpApiServer&) = delete;

  // Listens on both families; one alone is enough. Gives an error only when both failed. Throws
  // boost::system::system_error when the IPv6 listener can't be kept from IPv4.
  boost::system::error_code Start();

  // After Start, these have the port that the kernel has chosen, if port 0 was asked for.
  const Endpoint& Endpoint4() const { return family4_.endpoint; }
  const Endpoint& Endpoint6() const { return family6_.endpoint; }

 private:
  struct Family {
    Endpoint endpoint;
    std::shared_ptr<Asio::TcpListener> listener;
    std::shared_ptr<Asio::PolymorphicStreamServer> server;
    boost::system::error_code error;
  };

  AsioTcpApiServer(boost::asio::io_context& io, std::optional<std::uint16_t> port, const Endpoint& endpoint4,
                   const Endpoint& endpoint6, std::shared_ptr<Core::AsyncApiProvider> provider,
                   Enqueuer enqueuer, std::shared_ptr<Log::Logger> logger,
                   std::shared_ptr<const L10n::Localizer> localizer, ServerConfig config);

  void Open(Family& family, const char* name);
  static boost::system::error_code Listen(Family& family);
  void LogConfig(const ServerConfig& config, bool ownLocalizer) const;

  // Set when the server listens on every address of the host.
  std::optional<std::uint16_t> port_;
  std::shared_ptr<Log::Logger> logger_;
  Family family4_;
  Family family6_;
};

}  // namespace Mirel::Transport::PicoHttp

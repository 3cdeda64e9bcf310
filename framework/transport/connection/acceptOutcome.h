#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <ostream>
#include <string>

#include "framework/transport/connection/ioTypes.h"

namespace Mirel::Asio {

// What a completed accept becomes.
struct AcceptOutcome {
  static constexpr std::uint32_t kTerminalAcceptError = 1;
  static constexpr std::uint32_t kDelayAcceptError = 2;

  // Out of descriptors is the one error after which accepting goes on.
  static AcceptOutcome Of(const boost::system::error_code& error);

  bool Failed() const { return error || flags != 0; }

  boost::system::error_code error;
  std::uint32_t flags = 0;
  std::string text;
};

std::ostream& operator<<(std::ostream& out, const AcceptOutcome& outcome);

// "LocalEndpoint:" and the listener's address, or the error that reading it gave.
std::string LocalEndpointText(const TcpListener& listener);

}  // namespace Mirel::Asio

namespace Mirel::Transport {

// "127.0.0.1:9999" or "[::1]:9999".
std::string EndpointToString(const boost::asio::ip::tcp::endpoint& endpoint);

}  // namespace Mirel::Transport

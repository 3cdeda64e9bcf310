#pragma once

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <string>

#include "apps/hesper-bridge/connection.h"
#include "platform/corvane/fileDescriptor.h"

namespace Bridge {

// Accepts the connections of a listening socket, one after the other, until it is closed.
class Listener final : public std::enable_shared_from_this<Listener> {
 public:
  using Endpoint = boost::asio::generic::stream_protocol::endpoint;
  using Taker = std::function<void(StreamSocket, const Endpoint& peer)>;

  // The family is that of the socket.
  Listener(boost::asio::io_context& io, Corvane::FileDescriptor socket, int family, Taker taker);

  void Start() { Accept(); }
  void Close();

 private:
  void Accept();
  void AcceptLater();

  boost::asio::basic_socket_acceptor<boost::asio::generic::stream_protocol> acceptor_;
  boost::asio::steady_timer timer_;
  Endpoint peer_;
  const Taker taker_;
};

// A listening AF_UNIX socket at this path. A socket that stands there from before is replaced. Throws
// std::system_error.
Corvane::FileDescriptor ListenAt(const std::string& path);

}  // namespace Bridge

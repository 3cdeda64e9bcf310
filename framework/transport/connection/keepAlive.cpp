#include "framework/transport/connection/keepAlive.h"

#include <netinet/tcp.h>

#include <boost/asio/detail/socket_option.hpp>
#include <boost/asio/socket_base.hpp>
#include <boost/system/error_code.hpp>

namespace Mirel::Asio {

void KeepAlive::Apply(TcpSocket& socket) const {
  namespace option = boost::asio::detail::socket_option;
  boost::system::error_code ignored;
  socket.set_option(option::integer<IPPROTO_TCP, TCP_KEEPIDLE>(static_cast<int>(idle.count())), ignored);
  socket.set_option(option::integer<IPPROTO_TCP, TCP_KEEPINTVL>(static_cast<int>(interval.count())), ignored);
  socket.set_option(option::integer<IPPROTO_TCP, TCP_KEEPCNT>(probes), ignored);
  socket.set_option(boost::asio::socket_base::keep_alive(true), ignored);
}

}  // namespace Mirel::Asio

#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>

#include "platform/krell/standin/endpointQueue.h"

namespace Krell {
class Host;
}

namespace Bridge {

class Connection;

// The daemon's end of the host: where guests' texts go. The daemon may come and go, and be slower than all
// guests together: who finds no room stands in line.
class DaemonEndpoint {
 public:
  // Requires: the others outlive it.
  DaemonEndpoint(boost::asio::io_context& io, const Krell::Host& host, std::uint32_t port);

  // Nobody finds room while others stand in line.
  Krell::PacketFate Put(const Krell::PacketSource& source, std::string_view text);
  // Stands in line. The connection is resumed when it is the first one and there may be room; if there is
  // none, it is still the first one.
  void Await(const std::shared_ptr<Connection>& connection);
  // How long a text of this VM would be above its rate.
  std::chrono::nanoseconds RateDelay(std::uint32_t cid);
  std::uint32_t Port() const { return port_; }

 private:
  bool Find();
  void Arm();
  void ServeLine();

  const Krell::Host& host_;
  const std::uint32_t port_;
  std::shared_ptr<Krell::EndpointQueue> queue_;
  // No second look at the folder before that, however many guests want to send.
  std::chrono::steady_clock::time_point nextLook_;
  boost::asio::steady_timer timer_;
  std::deque<std::weak_ptr<Connection>> line_;
  bool isArmed_ = false;
  bool isServing_ = false;
  // What the last text met.
  bool isFull_ = false;
};

}  // namespace Bridge

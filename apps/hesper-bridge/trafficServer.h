#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <memory>
#include <string>

#include "apps/hesper-bridge/listener.h"

namespace Krell {
class Host;
}

namespace Bridge {

// Tells the host's tools of the bridge's guests, each asker all of them at once.
class TrafficServer {
 public:
  // Throws std::system_error. Requires: the host outlives it.
  TrafficServer(boost::asio::io_context& io, const Krell::Host& host, std::function<std::string()> tell);
  ~TrafficServer();

  void Start() { listener_->Start(); }

 private:
  void Answer(StreamSocket socket);

  const Krell::Host& host_;
  const std::function<std::string()> tell_;
  // Askers that have not read all yet.
  std::shared_ptr<int> askers_ = std::make_shared<int>(0);
  std::shared_ptr<Listener> listener_;
};

}  // namespace Bridge

#include "apps/hesper-bridge/trafficServer.h"

#include <unistd.h>

#include <boost/asio/write.hpp>
#include <utility>

#include "platform/krell/standin/endpointQueue.h"
#include "platform/krell/standin/host.h"
#include "platform/krell/standin/traffic.h"

namespace Bridge {
namespace {

constexpr int kMostAskers = 8;

// Through the directory's descriptor, as its path can be longer than a socket's address.
std::string PathOf(const Krell::Host& host) {
  return "/proc/self/fd/" + std::to_string(host.DirectoryDescriptor()) + "/" + Krell::kTrafficSocket;
}

}  // namespace

TrafficServer::TrafficServer(boost::asio::io_context& io, const Krell::Host& host,
                             std::function<std::string()> tell)
    : host_(host),
      tell_(std::move(tell)),
      listener_(std::make_shared<Listener>(
          io, ListenAt(PathOf(host)), AF_UNIX,
          [this](StreamSocket socket, const Listener::Endpoint&) { Answer(std::move(socket)); })) {}

TrafficServer::~TrafficServer() {
  listener_->Close();
  unlinkat(host_.DirectoryDescriptor(), Krell::kTrafficSocket, 0);
}

void TrafficServer::Answer(StreamSocket socket) {
  if (*askers_ == kMostAskers) return;
  ++*askers_;
  auto shared = std::make_shared<StreamSocket>(std::move(socket));
  auto text = std::make_shared<std::string>(tell_());
  boost::asio::async_write(*shared, boost::asio::buffer(*text),
                           [shared, text, askers = askers_](const auto&, std::size_t) { --*askers; });
}

}  // namespace Bridge

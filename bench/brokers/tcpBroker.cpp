#include "bench/brokers/tcpBroker.h"

#include <stdexcept>
#include <utility>

#include "bench/tcp.h"
#include "testing/eventually.h"

namespace Brokers {

TcpBroker::TcpBroker(std::vector<std::string> command, std::uint16_t port, Protocol protocol)
    : port_(port), protocol_(std::move(protocol)), process_(std::move(command)) {
  const auto accepts = [this] {
    publisher_ = Bench::TryConnect(port_);
    return publisher_.IsOpen() || !process_.IsRunning();
  };
  if (!Testing::Eventually(accepts) || !publisher_.IsOpen()) {
    throw std::runtime_error("the server does not start:\n" + process_.Log());
  }
  Bench::SendAll(publisher_.Get(), protocol_.hello);
}

Corvane::FileDescriptor TcpBroker::Subscribe() {
  auto connection = Bench::Connect(port_);
  Bench::SendAll(connection.Get(), protocol_.subscribe);
  return connection;
}

void TcpBroker::Publish(std::string_view text) {
  packet_.assign(protocol_.before(text.size())).append(text).append(protocol_.after);
  Bench::SendAll(publisher_.Get(), packet_);
}

}  // namespace Brokers

#include "apps/hesper-bridge/daemonEndpoint.h"

#include "apps/hesper-bridge/connection.h"
#include "platform/krell/standin/host.h"
#include "platform/krell/vsockAddress.h"

namespace Bridge {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{50};
// The daemon takes what fills its buffer in a few milliseconds.
constexpr std::chrono::milliseconds kBetweenServices{1};

}  // namespace

DaemonEndpoint::DaemonEndpoint(boost::asio::io_context& io, const Krell::Host& host, std::uint32_t port)
    : host_(host), port_(port), timer_(io) {}

bool DaemonEndpoint::Find() {
  if (queue_ && !queue_->IsClosed()) return true;
  const auto now = std::chrono::steady_clock::now();
  if (now < nextLook_) return false;
  nextLook_ = now + kBetweenLooks;
  queue_ = Krell::EndpointQueue::Open(host_.EndpointsDescriptor(),
                                      Krell::EndpointQueue::Name(Krell::kHostCid, port_));
  return queue_ && !queue_->IsClosed();
}

Krell::PacketFate DaemonEndpoint::Put(const Krell::PacketSource& source, std::string_view text) {
  if (!line_.empty() && !isServing_) return Krell::PacketFate::NoRoom;
  if (!Find()) {
    isFull_ = true;
    return Krell::PacketFate::NobodyReceives;
  }
  const iovec part{const_cast<char*>(text.data()), text.size()};
  const auto fate = queue_->Put(source, {&part, 1}, {Krell::kHostCid, port_});
  // It may have been killed, and another one may have taken its name.
  if (fate == Krell::PacketFate::NobodyReceives) queue_ = nullptr;
  isFull_ = fate == Krell::PacketFate::NobodyReceives || fate == Krell::PacketFate::NoRoom;
  return fate;
}

void DaemonEndpoint::Await(const std::shared_ptr<Connection>& connection) {
  if (isServing_) {
    line_.push_front(connection);
  } else {
    line_.push_back(connection);
  }
  if (!isArmed_) Arm();
}

void DaemonEndpoint::Arm() {
  isArmed_ = true;
  timer_.expires_after(queue_ ? kBetweenServices : kBetweenLooks);
  timer_.async_wait([this](const boost::system::error_code& error) {
    if (!error) ServeLine();
  });
}

void DaemonEndpoint::ServeLine() {
  isArmed_ = isServing_ = true;
  isFull_ = false;
  while (!line_.empty() && !isFull_) {
    const auto first = line_.front().lock();
    line_.pop_front();
    if (first) first->Resume();
  }
  isArmed_ = isServing_ = false;
  if (!line_.empty()) Arm();
}

std::chrono::nanoseconds DaemonEndpoint::RateDelay(std::uint32_t cid) {
  return Find() ? queue_->RateDelay(cid) : std::chrono::nanoseconds(0);
}

}  // namespace Bridge

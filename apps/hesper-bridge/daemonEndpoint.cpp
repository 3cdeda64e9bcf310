#include "apps/hesper-bridge/daemonEndpoint.h"

#include "platform/krell/standin/host.h"
#include "platform/krell/vsockAddress.h"

namespace Bridge {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{50};

}  // namespace

DaemonEndpoint::DaemonEndpoint(const Krell::Host& host, std::uint32_t port) : host_(host), port_(port) {}

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
  if (!Find()) return Krell::PacketFate::NobodyReceives;
  const iovec part{const_cast<char*>(text.data()), text.size()};
  const auto fate = queue_->Put(source, {&part, 1}, {Krell::kHostCid, port_});
  // It may have been killed, and another one may have taken its name.
  if (fate == Krell::PacketFate::NobodyReceives) queue_ = nullptr;
  return fate;
}

std::chrono::nanoseconds DaemonEndpoint::RateDelay(std::uint32_t cid) {
  return Find() ? queue_->RateDelay(cid) : std::chrono::nanoseconds(0);
}

}  // namespace Bridge

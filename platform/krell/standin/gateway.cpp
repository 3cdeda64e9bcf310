#include "platform/krell/standin/gateway.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "lib/public/api/guestLimits.h"
#include "platform/krell/standin/endpointQueue.h"
#include "platform/krell/standin/host.h"

namespace Krell {

Gateway::Gateway(const Host& host)
    : host_(host),
      socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      buffer_(NornHesper::kLargestDatagram) {
  if (socket_.Get() < 0) throw std::system_error(errno, std::generic_category(), "gateway");
  const int folder = host.EndpointsDescriptor();
  const Host::ChangeLock lock(host);
  if (const auto old = EndpointQueue::Open(folder, kName)) {
    if (old->HasReceiver()) {
      throw HostError("another process carries the packets of host " + host.Directory());
    }
    old->Close();
  }
  unlinkat(folder, kName, 0);
  const EndpointAddress address(folder, kName);
  if (bind(socket_.Get(), reinterpret_cast<const sockaddr*>(address.bytes), address.length) != 0) {
    throw std::system_error(errno, std::generic_category(), "gateway");
  }
  queue_ = EndpointQueue::Create(folder, kName, 0);
  queue_->SetReceiveBuffer(EndpointQueue::kLargestReceiveBuffer);
  host.EndpointAppeared();
}

Gateway::~Gateway() {
  try {
    const Host::ChangeLock lock(host_);
    queue_->Close();
    unlinkat(host_.EndpointsDescriptor(), kName, 0);
  } catch (const HostError&) {
    queue_->Close();
  }
}

std::optional<Gateway::Packet> Gateway::Take() {
  const iovec room{buffer_.data(), buffer_.size()};
  const auto packet = queue_->Receive({&room, 1}, MSG_DONTWAIT, socket_.Get());
  if (!packet) return std::nullopt;
  return Packet{packet->source.port,
                packet->target.cid,
                packet->source.cartelId,
                packet->target.port,
                {buffer_.data(), packet->copied}};
}

}  // namespace Krell

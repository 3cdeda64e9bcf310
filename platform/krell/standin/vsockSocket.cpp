#include "platform/krell/standin/vsockSocket.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <system_error>
#include <utility>

#include "platform/krell/standin/libc.h"

namespace Krell {
namespace {

// Larger ones are refused; far above what any receive buffer of the daemon takes.
constexpr std::size_t kLargestPacket = 1048576;
constexpr std::uint32_t kFirstEphemeralPort = 32768;
constexpr std::uint32_t kEphemeralPorts = 1U << 20;

void CopyOut(const VsockAddress& from, sockaddr* address, socklen_t* length) {
  if (address == nullptr || length == nullptr) return;
  std::memcpy(address, &from, std::min<std::size_t>(*length, sizeof from));
  *length = sizeof from;
}

bool IsHost(std::uint32_t cid) {
  return cid == kHostCid || cid == kAnyCid;
}

}  // namespace

VsockSocket::VsockSocket(std::shared_ptr<VsockKernel> kernel, int fd)
    : kernel_(std::move(kernel)), fd_(fd), creator_(getpid()) {}

int VsockSocket::Fault(const char* call, unsigned long option) {
  return guest_ ? 0 : kernel_->GetFaults().Next(call, option);
}

int VsockSocket::CopyIn(const sockaddr* address, socklen_t length, VsockAddress& out) const {
  if (address == nullptr || length < sizeof out) return -EINVAL;
  std::memcpy(static_cast<void*>(&out), address, sizeof out);
  return out.family == kernel_->Family() ? 0 : -EAFNOSUPPORT;
}

int VsockSocket::Bind(const sockaddr* address, socklen_t length) {
  VsockAddress wanted;
  if (const int error = CopyIn(address, length, wanted)) return error;
  if (IsHost(wanted.cid)) {
    if (const int error = kernel_->GetFaults().Next("bind")) return -error;
  }
  const Corvane::MutexLock guard(mutex_);
  return bound_ ? -EINVAL : BindLocked(wanted);
}

int VsockSocket::BindLocked(VsockAddress address) try {
  const std::uint32_t cid = IsHost(address.cid) ? kHostCid : address.cid;
  std::uint32_t cartelId = 0;
  if (cid != kHostCid) {
    const auto vm = kernel_->FindVm(cid);
    if (!vm) return -EADDRNOTAVAIL;
    cartelId = vm->cartelId;
  }
  const Host::ChangeLock lock(kernel_->GetHost());
  int error = 0;
  if (address.port != kAnyPort) {
    error = TakeName(EndpointQueue::Name(cid, address.port), cartelId);
  } else {
    static std::atomic<std::uint32_t> next{std::random_device()()};
    for (std::uint32_t tries = 0; tries < kEphemeralPorts; ++tries) {
      address.port = kFirstEphemeralPort + next++ % kEphemeralPorts;
      error = TakeName(EndpointQueue::Name(cid, address.port), cartelId);
      if (error != -EADDRINUSE) break;
    }
  }
  if (error != 0) return error;
  name_ = address;
  cartelId_ = cartelId;
  guest_ = cid != kHostCid;
  bound_ = true;
  ApplyOptions();
  kernel_->GetHost().EndpointAppeared();
  return 0;
} catch (const HostError&) {
  return -EACCES;
} catch (const std::system_error& error) {
  return -error.code().value();
}

// What is under the name may be left from a process that has died, or from a VM that had the cid before.
int VsockSocket::TakeName(const std::string& name, std::uint32_t cartelId) {
  const int folder = kernel_->GetHost().EndpointsDescriptor();
  if (const auto old = EndpointQueue::Open(folder, name)) {
    if (old->CartelId() == cartelId && old->HasReceiver()) return -EADDRINUSE;
    old->Close();
  }
  unlinkat(folder, name.c_str(), 0);
  const EndpointAddress address(folder, name);
  if (Libc::Bind(fd_, reinterpret_cast<const sockaddr*>(address.bytes), address.length) != 0) return -errno;
  queue_ = EndpointQueue::Create(folder, name, cartelId);
  return 0;
}

void VsockSocket::ApplyOptions() {
  if (!queue_) return;
  queue_->SetReceiveBuffer(options_.receiveBuffer);
  queue_->SetRateLimit(options_.rateLimit);
  queue_->SetPrivilegeMode(options_.privilegeMode);
}

int VsockSocket::Connect(const sockaddr* address, socklen_t length) {
  if (const int error = Fault("connect")) return -error;
  VsockAddress peer;
  if (const int error = CopyIn(address, length, peer)) return error;
  if (peer.cid == kAnyCid) return -EADDRNOTAVAIL;
  if (peer.cid != kHostCid && !kernel_->FindVm(peer.cid)) return -ENODEV;
  const Corvane::MutexLock guard(mutex_);
  peer_ = peer;
  connected_ = true;
  return 0;
}

int VsockSocket::GetName(sockaddr* address, socklen_t* length) {
  const Corvane::MutexLock guard(mutex_);
  VsockAddress name = name_;
  name.family = static_cast<std::uint16_t>(kernel_->Family());
  CopyOut(name, address, length);
  return 0;
}

int VsockSocket::GetPeer(sockaddr* address, socklen_t* length) {
  const Corvane::MutexLock guard(mutex_);
  if (!connected_) return -ENOTCONN;
  CopyOut(peer_, address, length);
  return 0;
}

// The VM behind the peer's cid as it runs now, not as it ran when the socket was connected.
int VsockSocket::CartelIdOfPeer(std::uint32_t& cartelId) {
  if (!connected_) return -ENOTCONN;
  const auto vm = kernel_->FindVm(peer_.cid);
  if (!vm) return -ENODEV;
  cartelId = vm->cartelId;
  return 0;
}

int VsockSocket::GetOption(int level, int option, void* value, socklen_t* length) {
  const bool vsockLevel = level == kernel_->Family();
  const bool receiveBuffer = level == SOL_SOCKET && option == SO_RCVBUF;
  const bool domain = level == SOL_SOCKET && option == SO_DOMAIN;
  if (!vsockLevel && !receiveBuffer && !domain) {
    return Libc::GetSockOpt(fd_, level, option, value, length) == 0 ? 0 : -errno;
  }
  const unsigned long key = receiveBuffer ? kReceiveBufferOption : static_cast<unsigned long>(option);
  if (const int error = Fault("getsockopt", key)) return -error;
  if (value == nullptr || length == nullptr) return -EFAULT;
  if (*length < sizeof(std::int32_t)) return -EINVAL;

  const Corvane::MutexLock guard(mutex_);
  std::int32_t result = 0;
  if (domain) {
    result = kernel_->Family();
  } else if (receiveBuffer) {
    result = options_.receiveBuffer;
  } else if (option == kOptionCartelId) {
    std::uint32_t cartelId = 0;
    if (const int error = CartelIdOfPeer(cartelId)) return error;
    result = static_cast<std::int32_t>(cartelId);
  } else if (option == kOptionPeerRateLimit) {
    result = options_.rateLimit;
  } else if (option == kOptionPeerPrivilege) {
    result = options_.privilegeMode;
  } else {
    return -ENOPROTOOPT;
  }
  std::memcpy(value, &result, sizeof result);
  *length = guest_ ? sizeof result : kernel_->GetFaults().ReportedSize(key).value_or(sizeof result);
  return 0;
}

int VsockSocket::SetOption(int level, int option, const void* value, socklen_t length) {
  const bool vsockLevel = level == kernel_->Family();
  const bool receiveBuffer = level == SOL_SOCKET && option == SO_RCVBUF;
  if (!vsockLevel && !receiveBuffer) {
    return Libc::SetSockOpt(fd_, level, option, value, length) == 0 ? 0 : -errno;
  }
  const unsigned long key = receiveBuffer ? kReceiveBufferOption : static_cast<unsigned long>(option);
  if (const int error = Fault("setsockopt", key)) return -error;
  std::int32_t number = 0;
  if (value == nullptr) return -EFAULT;
  if (length < sizeof number) return -EINVAL;
  std::memcpy(&number, value, sizeof number);
  if (!guest_) number = kernel_->GetFaults().StuckValue(key).value_or(number);

  const Corvane::MutexLock guard(mutex_);
  if (receiveBuffer) {
    options_.receiveBuffer =
        std::clamp(number, EndpointQueue::kSmallestReceiveBuffer, EndpointQueue::kLargestReceiveBuffer);
  } else if (option == kOptionPeerRateLimit) {
    if (number < 0) return -EINVAL;
    options_.rateLimit = number;
  } else if (option == kOptionPeerPrivilege) {
    options_.privilegeMode = number;
  } else {
    return -ENOPROTOOPT;
  }
  ApplyOptions();
  return 0;
}

std::shared_ptr<EndpointQueue> VsockSocket::Queue() {
  const Corvane::MutexLock guard(mutex_);
  return queue_;
}

ssize_t VsockSocket::Receive(msghdr& message, int flags) {
  if (const int error = Fault("recvmsg")) return -error;
  std::shared_ptr<EndpointQueue> queue;
  // Nothing comes to a socket without a name, and another thread may give it one.
  while (!(queue = Queue())) {
    char byte = 0;
    if (Libc::Recv(fd_, &byte, 1, MSG_PEEK | (flags & MSG_DONTWAIT)) < 0) return -errno;
  }
  const auto packet = queue->Receive({message.msg_iov, message.msg_iovlen}, flags, fd_);
  if (!packet) return -errno;
  if (packet->source.cid != kHostCid) {
    kernel_->RememberSender(packet->source.cid, packet->source.cartelId);
  }
  const VsockAddress source{static_cast<std::uint16_t>(kernel_->Family()), 0, packet->source.port,
                            packet->source.cid, 0};
  CopyOut(source, static_cast<sockaddr*>(message.msg_name), &message.msg_namelen);
  message.msg_controllen = 0;
  message.msg_flags = packet->copied < packet->length ? MSG_TRUNC : 0;
  return static_cast<ssize_t>((flags & MSG_TRUNC) != 0 ? packet->length : packet->copied);
}

ssize_t VsockSocket::Send(const msghdr& message) {
  if (const int error = Fault("sendmsg")) return -error;
  const std::span<const iovec> text(message.msg_iov, message.msg_iovlen);
  std::size_t length = 0;
  for (const iovec& part : text) length += part.iov_len;
  if (length > kLargestPacket) return -EMSGSIZE;

  VsockAddress target;
  PacketSource source;
  std::uint32_t ownCartelId = 0;
  {
    const Corvane::MutexLock guard(mutex_);
    if (message.msg_name != nullptr) {
      const int error = CopyIn(static_cast<const sockaddr*>(message.msg_name), message.msg_namelen, target);
      if (error != 0) return error;
    } else if (connected_) {
      target = peer_;
    } else {
      return -EDESTADDRREQ;
    }
    if (!bound_) {
      if (const int error = BindLocked(VsockAddress{})) return error;
    }
    ownCartelId = cartelId_;
    source.port = name_.port;
    if (!IsHost(name_.cid)) source.cid = name_.cid;
  }
  if (target.cid == kAnyCid || target.port == kAnyPort) return -EINVAL;

  std::uint32_t targetCartelId = 0;
  if (source.cid != kHostCid) {
    // A socket of a VM that has stopped stays cut off, also when another one has the cid now.
    const auto vm = kernel_->FindVm(source.cid);
    if (!vm || vm->cartelId != ownCartelId) return -ENODEV;
    if (target.cid != kHostCid) return -EACCES;
    source.privileged = vm->privileged;
    source.cartelId = ownCartelId;
  } else if (target.cid != kHostCid) {
    const auto vm = kernel_->FindVm(target.cid);
    if (!vm) return -ENODEV;
    source.cartelId = targetCartelId = vm->cartelId;
  }
  // An endpoint kept from before may have had its process killed and be bound anew: look twice.
  for (int tries = 0; tries < 2; ++tries) {
    auto endpoint = kernel_->Endpoints().Find(target.cid, target.port);
    if (endpoint && endpoint->CartelId() != targetCartelId) endpoint = nullptr;
    if (!endpoint && target.cid != kHostCid) endpoint = kernel_->Endpoints().FindGateway();
    if (!endpoint) break;
    const auto fate = endpoint->Put(source, text, {target.cid, target.port});
    if (fate != PacketFate::NobodyReceives) return static_cast<ssize_t>(length);
    kernel_->Endpoints().Forget(endpoint);
  }
  return -ECONNRESET;
}

void VsockSocket::Close() {
  const Corvane::MutexLock guard(mutex_);
  // After a fork the address stays with the process that bound it.
  if (!queue_ || getpid() != creator_) return;
  try {
    const Host::ChangeLock lock(kernel_->GetHost());
    if (!queue_->IsClosed()) {
      queue_->Close();
      const int folder = kernel_->GetHost().EndpointsDescriptor();
      const std::string name = EndpointQueue::Name(IsHost(name_.cid) ? kHostCid : name_.cid, name_.port);
      unlinkat(folder, name.c_str(), 0);
      unlinkat(folder, (name + ".queue").c_str(), 0);
    }
  } catch (const HostError&) {
    queue_->Close();
  }
  queue_ = nullptr;
}

}  // namespace Krell

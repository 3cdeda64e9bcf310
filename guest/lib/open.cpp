#include "guest/lib/open.h"

#include <fcntl.h>
#include <linux/vm_sockets.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <utility>

namespace HesperGuest {
namespace {

constexpr std::uint32_t kDefaultHostPort = 7777;
constexpr std::uint32_t kDefaultHistoryPort = 766;
constexpr const char* kPublishDevice = "/dev/virtio-ports/com.tessaly.norn.hesper.publish";
constexpr const char* kHistoryDevice = "/dev/virtio-ports/com.tessaly.norn.hesper.history";
// Only a privileged process of a guest can have a port below 1024.
constexpr std::uint32_t kFirstPrivilegedPort = 512;
constexpr std::uint32_t kPrivilegedPorts = 512;
// The host may ask one guest several times at once.
constexpr int kBacklog = 16;

std::uint32_t OrDefault(std::uint32_t value, std::uint32_t standard) {
  return value != 0 ? value : standard;
}

sockaddr_vm Address(std::uint32_t cid, std::uint32_t port) {
  sockaddr_vm address{};
  address.svm_family = AF_VSOCK;
  address.svm_cid = cid;
  address.svm_port = port;
  return address;
}

int BindTo(int descriptor, std::uint32_t port) {
  const auto address = Address(VMADDR_CID_ANY, port);
  return bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : -errno;
}

// Without the right to a privileged port, the socket keeps whatever the kernel gives it.
int BindAsPrivileged(int descriptor, std::uint32_t historyPort) {
  std::uint32_t start = 0;
  if (getrandom(&start, sizeof start, GRND_NONBLOCK) < 0) start = 0;
  for (std::uint32_t i = 0; i < kPrivilegedPorts; ++i) {
    const std::uint32_t port = kFirstPrivilegedPort + (start + i) % kPrivilegedPorts;
    if (port == historyPort) continue;
    const int error = BindTo(descriptor, port);
    if (error == 0 || error == -EACCES) return 0;
    if (error != -EADDRINUSE) return error;
  }
  return 0;
}

// The socket family can be there without a host that could be reached by it.
bool HasVsock() {
  const Corvane::FileDescriptor device(open("/dev/vsock", O_RDONLY | O_CLOEXEC));
  // Whoever may not ask hears from the connection what else it may not.
  if (!device.IsOpen()) return errno == EACCES;
  unsigned int cid = VMADDR_CID_ANY;
  return ioctl(device.Get(), IOCTL_VM_SOCKETS_GET_LOCAL_CID, &cid) == 0 && cid > VMADDR_CID_HOST &&
         cid != VMADDR_CID_ANY;
}

int SetNonBlocking(int descriptor) {
  return fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK) == 0 ? 0 : -errno;
}

int SetConnectTimeout(int descriptor, std::uint32_t milliseconds) {
  if (milliseconds == 0) return 0;
  const timeval time{static_cast<time_t>(milliseconds / 1000),
                     static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
  return setsockopt(descriptor, AF_VSOCK, SO_VM_SOCKETS_CONNECT_TIMEOUT, &time, sizeof time) == 0 ? 0
                                                                                                  : -errno;
}

int ConnectByVsock(const hesper_options& options, std::unique_ptr<Stream>& stream) {
  Corvane::FileDescriptor connected(socket(AF_VSOCK, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!connected.IsOpen()) return -errno;
  const int error =
      options.source_port != 0
          ? BindTo(connected.Get(), options.source_port)
          : BindAsPrivileged(connected.Get(), OrDefault(options.history_port, kDefaultHistoryPort));
  if (error != 0) return error;
  const auto host = Address(VMADDR_CID_HOST, OrDefault(options.host_port, kDefaultHostPort));
  if (const int failure = SetConnectTimeout(connected.Get(), options.connect_timeout)) return failure;
  if (connect(connected.Get(), reinterpret_cast<const sockaddr*>(&host), sizeof host) != 0) return -errno;
  if (const int failure = SetNonBlocking(connected.Get())) return failure;
  stream = std::make_unique<Stream>(std::move(connected), Stream::Kind::Socket);
  return 0;
}

int ListenOnVsock(const hesper_options& options, RequestSource& source) {
  Corvane::FileDescriptor listener(socket(AF_VSOCK, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!listener.IsOpen()) return -errno;
  const int error = BindTo(listener.Get(), OrDefault(options.history_port, kDefaultHistoryPort));
  if (error != 0) return error;
  if (listen(listener.Get(), kBacklog) != 0) return -errno;
  source.listener = std::move(listener);
  return 0;
}

int OpenLine(const char* device, const char* standard, std::unique_ptr<Stream>& stream) {
  Corvane::FileDescriptor line(
      open(device != nullptr ? device : standard, O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (!line.IsOpen()) return -errno;
  stream = std::make_unique<Stream>(std::move(line), Stream::Kind::Line);
  return 0;
}

template <typename ByVsock, typename BySerial>
int OpenEither(hesper_transport transport, ByVsock byVsock, BySerial bySerial) {
  const bool tryVsock = transport == HESPER_VSOCK || (transport == HESPER_VSOCK_OR_SERIAL && HasVsock());
  const int vsockError = tryVsock ? byVsock() : -ENODEV;
  if (vsockError == 0 || transport == HESPER_VSOCK) return vsockError;
  const int serialError = bySerial();
  return serialError == -ENOENT ? vsockError : serialError;
}

}  // namespace

int OpenPublications(const hesper_options& options, std::unique_ptr<Stream>& stream) {
  return OpenEither(
      options.transport, [&] { return ConnectByVsock(options, stream); },
      [&] { return OpenLine(options.publish_device, kPublishDevice, stream); });
}

int OpenRequests(const hesper_options& options, RequestSource& source) {
  return OpenEither(
      options.transport, [&] { return ListenOnVsock(options, source); },
      [&] { return OpenLine(options.history_device, kHistoryDevice, source.line); });
}

}  // namespace HesperGuest

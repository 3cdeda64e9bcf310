#include "apps/nornhesperd/backend.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <string>
#include <thread>

#include "apps/nornhesperd/acknowledgement.h"
#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "lib/public/api/guestLimits.h"
#include "platform/krell/vsockAddress.h"

namespace NornHesper {
namespace {

constexpr int kReceiveBufferBytes = 2228224;
constexpr int kPrivilegedPeersOnly = 1;
// The receive buffer lies on the thread's stack.
constexpr std::size_t kThreadStackBytes = std::size_t{1024} * 1024;
// Short for those who wait for an answer when the failure is over, long for a processor.
constexpr std::chrono::milliseconds kRestBetweenFailures{100};

bool SetVsockOption(int socket, int option, int value) {
  return setsockopt(socket, GetVsockAddressFamily(), option, &value, sizeof(value)) == 0;
}

bool GetVsockOption(int socket, int option, int& value) {
  socklen_t size = sizeof(value);
  return getsockopt(socket, GetVsockAddressFamily(), option, &value, &size) == 0;
}

msghdr MakeHeader(vsock::endpoint& peer, iovec& text) {
  msghdr header{};
  header.msg_name = peer.data();
  header.msg_namelen = peer.size();
  header.msg_iov = &text;
  header.msg_iovlen = 1;
  return header;
}

// Makes the call until it gives something else than EAGAIN; between the calls it waits until the socket is
// ready for it.
template <typename Call>
ssize_t CallWhenReady(int socket, short events, const Call& call) {
  for (;;) {
    const ssize_t length = call();
    if (length >= 0 || errno != EAGAIN) return length;
    pollfd readiness{socket, events, 0};
    poll(&readiness, 1, -1);
  }
}

// Gives -1 with errno on a failure.
ssize_t Receive(int socket, iovec text, vsock::endpoint& sender) {
  msghdr header = MakeHeader(sender, text);
  const ssize_t length = CallWhenReady(socket, POLLIN, [&] { return recvmsg(socket, &header, 0); });
  if (length >= 0) sender.resize(header.msg_namelen);
  return length;
}

ssize_t Send(int socket, std::string& text, vsock::endpoint receiver) {
  iovec bytes{text.data(), text.size()};
  const msghdr header = MakeHeader(receiver, bytes);
  return CallWhenReady(socket, POLLOUT, [&] { return sendmsg(socket, &header, MSG_NOSIGNAL); });
}

}  // namespace

void Backend::Start() {
  CreateSocket();
  thread_ = GlobalContext::Get()->GetApp()->StartThread(
      "nornhesperd-backend", [self = Corvane::Ref<Backend>(this)] { self->ThreadFunc(); }, kThreadStackBytes);
  HESPER_LOG(6, "Started the backend thread");
}

void Backend::CreateSocket() {
  GlobalContext* context = GlobalContext::Get();
  try {
    socket_ = std::make_unique<Socket>(idleContext_, vsock::endpoint(Krell::kAnyCid, port_));
  } catch (const std::exception& exception) {
    HESPER_LOG(3, "Failed to create backend socket, %1", exception.what());
    context->TerminateApplication();
  }
  SizeReceiveBuffer();
  LimitPeerRate();
  RequirePrivilegedPeers();
}

void Backend::SizeReceiveBuffer() {
  boost::asio::socket_base::receive_buffer_size size(kReceiveBufferBytes);
  socket_->set_option(size);
  socket_->get_option(size);
  // asio gives half of what Linux reports; twice that is the kernel's value without its lowest bit.
  HESPER_LOG(6, "HESPER socket receive buffer size set to %1", 2 * size.value());
}

void Backend::LimitPeerRate() {
  GlobalContext* context = GlobalContext::Get();
  const int socket = socket_->native_handle();
  if (!SetVsockOption(socket, Krell::kOptionPeerRateLimit, kPeerRateLimit)) {
    HESPER_LOG(3, "Failed to set peer rate limit to %1, %2", kPeerRateLimit, std::strerror(errno));
    context->TerminateApplication();
  }
  int actual = 0;
  if (!GetVsockOption(socket, Krell::kOptionPeerRateLimit, actual)) {
    HESPER_LOG(3, "Failed to get peer rate limit, %1", std::strerror(errno));
    context->TerminateApplication();
  }
  if (actual != kPeerRateLimit) {
    HESPER_LOG(3, "Failed to limit packet rate, expected: %1, actual: %2", kPeerRateLimit, actual);
    context->TerminateApplication();
  }
  HESPER_LOG(6, "Limited peer packet rate to %1 pps", kPeerRateLimit);
}

void Backend::RequirePrivilegedPeers() {
  GlobalContext* context = GlobalContext::Get();
  const int socket = socket_->native_handle();
  if (!SetVsockOption(socket, Krell::kOptionPeerPrivilege, kPrivilegedPeersOnly)) {
    HESPER_LOG(3, "Failed to limit peers to priv, %1", std::strerror(errno));
    context->TerminateApplication();
  }
  int actual = 0;
  if (!GetVsockOption(socket, Krell::kOptionPeerPrivilege, actual)) {
    HESPER_LOG(3, "Failed to query peer priv mode, %1", std::strerror(errno));
    context->TerminateApplication();
  }
  if (actual == 0) {
    HESPER_LOG(3, "Failed to limit peers to priv, verification failed");
    context->TerminateApplication();
  }
  HESPER_LOG(6, "Required peers to be priv");
}

void Backend::ThreadFunc() {
  std::array<char, kLargestDatagram> buffer;
  for (;;) {
    vsock::endpoint sender;
    const ssize_t length = Receive(socket_->native_handle(), {buffer.data(), buffer.size()}, sender);
    if (length < 0 && errno == EINTR) {
      HESPER_LOG(6, "Packet receiving interrupted by a signal");
    } else if (!KeepsFailing(length)) {
      // A failure goes on as an empty text of an unknown sender, and normally ends at the look-up.
      Serve({buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))}, sender);
    }
  }
}

// True for a failure behind another one, with errno still set. A state that lasts is logged when it begins
// and when it ends, and the thread rests between its tries.
bool Backend::KeepsFailing(ssize_t received) {
  if (received >= 0) {
    if (failuresInARow_ > 1) HESPER_LOG(6, "Receiving packets works again");
    failuresInARow_ = 0;
    return false;
  }
  if (++failuresInARow_ == 1) return false;
  if (failuresInARow_ == 2) HESPER_LOG(3, "Receiving packets keeps failing, %1", std::strerror(errno));
  std::this_thread::sleep_for(kRestBetweenFailures);
  return true;
}

void Backend::Serve(std::string_view text, const vsock::endpoint& sender) {
  GlobalContext* context = GlobalContext::Get();
  IntakeCounters& counters = context->GetCounters().intake;
  CidInfoPtr vm;
  if (context->GetCidCache().Lookup(vm, sender.cid()).HasErrors()) {
    counters.unknownCids.Add();
    HESPER_LOG(6, "Cannot retrieve cid info for endpoint %1", sender.cid());
    return;
  }
  const auto outcome = context->GetRegistry().Publish(text.data(), text.size(), vm);
  counters.Texts(outcome.fault).Add();
  (outcome.fault == PublicationFault::None ? counters.acceptedBytes : counters.refusedBytes).Add(text.size());
  std::string answer = MakeAcknowledgement(outcome);
  if (Send(socket_->native_handle(), answer, sender) < 0) {
    counters.acknowledgementsFailed.Add();
    HESPER_LOG(6, "Cannot send response: %1", std::strerror(errno));
  }
}

}  // namespace NornHesper

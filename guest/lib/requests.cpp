#include <linux/vm_sockets.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "guest/lib/hesperguest.h"
#include "guest/lib/open.h"
#include "guest/lib/readiness.h"

using HesperGuest::Deadline;
using HesperGuest::Stream;

namespace {

// Of the host's calls that have not said all yet.
constexpr std::size_t kMostCalls = 16;

bool IsHost(const sockaddr_vm& peer, socklen_t length) {
  return length >= sizeof peer && peer.svm_family == AF_VSOCK && peer.svm_cid == VMADDR_CID_HOST;
}

}  // namespace

struct hesper_history {
  HesperGuest::RequestSource source;
  HesperGuest::Readiness readiness;
  // Each brings one request.
  std::vector<std::unique_ptr<Stream>> calls;

  // Gives how many requests there were, or a negative errno.
  int Serve(hesper_request_handler* handler, void* context);

 private:
  int AcceptCalls();
};

// Takes all calls that wait. Whoever isn't the host is hung up on.
int hesper_history::AcceptCalls() {
  for (;;) {
    sockaddr_vm peer{};
    socklen_t length = sizeof peer;
    Corvane::FileDescriptor call(accept4(source.listener.Get(), reinterpret_cast<sockaddr*>(&peer), &length,
                                         SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!call.IsOpen()) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      return errno == EAGAIN ? 0 : -errno;
    }
    if (!IsHost(peer, length) || calls.size() >= kMostCalls) continue;
    if (const int error = readiness.Add(call.Get())) return error;
    calls.push_back(std::make_unique<Stream>(std::move(call), Stream::Kind::Socket));
  }
}

int hesper_history::Serve(hesper_request_handler* handler, void* context) {
  readiness.Clear();
  if (source.listener.IsOpen()) {
    if (const int error = AcceptCalls()) return error;
  }
  int requests = 0;
  // False when the call has nothing more to say now, or ever.
  const auto take = [&](Stream& stream, int& error) {
    std::string_view text;
    error = stream.Receive(text, Deadline(0));
    if (error != 0) return false;
    handler(context, text.data(), text.size());
    ++requests;
    return true;
  };
  int error = 0;
  std::erase_if(calls, [&](const auto& call) { return take(*call, error) || error != -ETIMEDOUT; });
  if (source.line) {
    while (take(*source.line, error)) {
    }
    if (error != -ETIMEDOUT) return error;
  }
  return requests;
}

int hesper_history_open(hesper_history** history, const hesper_options* options) try {
  auto opened = std::make_unique<hesper_history>();
  auto& source = opened->source;
  if (const int error = HesperGuest::OpenRequests(options != nullptr ? *options : hesper_options{}, source)) {
    return error;
  }
  const int watched = source.line ? source.line->Descriptor() : source.listener.Get();
  if (const int error = opened->readiness.Add(watched)) return error;
  *history = opened.release();
  return 0;
} catch (const std::bad_alloc&) {
  return -ENOMEM;
}

void hesper_history_close(hesper_history* history) {
  delete history;
}

int hesper_history_serve(hesper_history* history, hesper_request_handler* handler, void* context,
                         int timeout) try {
  const Deadline deadline(timeout);
  for (;;) {
    const int requests = history->Serve(handler, context);
    if (requests != 0) return requests;
    const int error = HesperGuest::Await(history->readiness.Descriptor(), POLLIN, deadline);
    if (error != 0) return error == -ETIMEDOUT ? 0 : error;
  }
} catch (const std::bad_alloc&) {
  return -ENOMEM;
}

int hesper_history_descriptor(const hesper_history* history) {
  return history->readiness.Descriptor();
}

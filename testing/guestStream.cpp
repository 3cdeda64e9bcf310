#include "testing/guestStream.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>

namespace Testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

bool IsReady(int socket, short events, steady_clock::time_point deadline) {
  const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
  pollfd readiness{socket, events, 0};
  return poll(&readiness, 1, static_cast<int>(std::max<milliseconds::rep>(left, 0))) > 0;
}

}  // namespace

std::string GuestStream::Frame(std::string_view text) const {
  std::string frame;
  framing_->Append(frame, text);
  return frame;
}

std::size_t GuestStream::SendSome(std::string_view bytes) {
  std::size_t sent = 0;
  ssize_t size = 0;
  while (sent < bytes.size() && (size = send(socket_.Get(), bytes.data() + sent, bytes.size() - sent,
                                             MSG_NOSIGNAL | MSG_DONTWAIT)) > 0) {
    sent += static_cast<std::size_t>(size);
  }
  return sent;
}

void GuestStream::SendBytes(std::string_view bytes) {
  const auto deadline = steady_clock::now() + kEventually;
  while (!bytes.empty() && IsReady(socket_.Get(), POLLOUT, deadline)) {
    const auto sent = SendSome(bytes);
    if (sent == 0) return;
    bytes.remove_prefix(sent);
  }
}

// False at the end of the stream or of the time.
bool GuestStream::Read(steady_clock::time_point deadline) {
  char part[65536];
  if (!IsReady(socket_.Get(), POLLIN, deadline)) return false;
  const auto size = recv(socket_.Get(), part, sizeof part, 0);
  if (size <= 0) return false;
  input_.append(part, static_cast<std::size_t>(size));
  return true;
}

std::optional<std::string> GuestStream::Receive(milliseconds time) {
  const auto deadline = steady_clock::now() + time;
  do {
    std::string_view input = input_;
    auto text = framing_->Next(input);
    std::optional<std::string> copy(text);
    input_.erase(0, input_.size() - input.size());
    if (copy) return copy;
  } while (Read(deadline));
  return std::nullopt;
}

std::string GuestStream::Publish(std::string_view text) {
  Send(text);
  return Receive().value_or("no acknowledgement");
}

bool GuestStream::Closes(milliseconds time) const {
  return IsReady(socket_.Get(), POLLRDHUP, steady_clock::now() + time);
}

bool GuestStream::IsTaken(milliseconds time) const {
  return Eventually(
      [this] {
        int unread = 0;
        return ioctl(socket_.Get(), SIOCOUTQ, &unread) == 0 && unread == 0;
      },
      time);
}

}  // namespace Testing

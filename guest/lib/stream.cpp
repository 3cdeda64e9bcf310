#include "guest/lib/stream.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace HesperGuest {
namespace {

constexpr std::size_t kReadSize = 16384;
// A line without a host can't be waited for: poll tells of its end again and again.
constexpr std::chrono::milliseconds kBetweenLooks{100};

std::unique_ptr<Wire::Framing> MakeFraming(Stream::Kind kind) {
  if (kind == Stream::Kind::Line) return std::make_unique<Wire::CobsFraming>();
  return std::make_unique<Wire::LengthFraming>();
}

ssize_t WriteSome(int descriptor, Stream::Kind kind, std::string_view bytes) {
  // A line is a device, for which send does not do; a socket without its peer must not end the program.
  return kind == Stream::Kind::Line ? write(descriptor, bytes.data(), bytes.size())
                                    : send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

}  // namespace

Stream::Stream(Corvane::FileDescriptor descriptor, Kind kind)
    : descriptor_(std::move(descriptor)), kind_(kind), framing_(MakeFraming(kind)), in_(kReadSize, '\0') {}

int Stream::AwaitHost(short events, const Deadline& deadline) const {
  if (kind_ == Kind::Line) {
    pollfd entry{descriptor_.Get(), events, 0};
    if (poll(&entry, 1, 0) == 1 && (entry.revents & POLLHUP) != 0) {
      const int left = deadline.Left();
      if (left == 0) return -ETIMEDOUT;
      const int pause = static_cast<int>(kBetweenLooks.count());
      poll(nullptr, 0, left < 0 ? pause : std::min(left, pause));
      return 0;
    }
  }
  return Await(descriptor_.Get(), events, deadline);
}

int Stream::Send(std::string_view text, const Deadline& deadline) {
  if (text.size() > Wire::kLongestFrame) return -EMSGSIZE;
  out_ = std::exchange(hasBegun_, true) ? std::string_view() : framing_->Prologue();
  framing_->Append(out_, text);
  std::string_view left = out_;
  while (!left.empty()) {
    const ssize_t size = WriteSome(descriptor_.Get(), kind_, left);
    if (size >= 0) {
      left.remove_prefix(static_cast<std::size_t>(size));
    } else if (errno == EAGAIN) {
      if (const int error = AwaitHost(POLLOUT, deadline)) return error;
    } else if (errno != EINTR) {
      return -errno;
    }
  }
  return 0;
}

int Stream::Receive(std::string_view& text, const Deadline& deadline) {
  for (;;) {
    if (const auto next = framing_->Next(unread_)) {
      text = *next;
      return 0;
    }
    if (framing_->HasFailed()) return -EBADMSG;
    if (const int error = Read(deadline)) return error;
  }
}

int Stream::Read(const Deadline& deadline) {
  for (;;) {
    const ssize_t size = read(descriptor_.Get(), in_.data(), in_.size());
    if (size > 0) {
      unread_ = {in_.data(), static_cast<std::size_t>(size)};
      return 0;
    }
    if (size == 0 && kind_ == Kind::Socket) return -EPIPE;
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && errno != EAGAIN) return -errno;
    if (const int error = AwaitHost(POLLIN, deadline)) return error;
  }
}

}  // namespace HesperGuest

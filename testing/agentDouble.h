#pragma once

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/corvane/fileDescriptor.h"
#include "testing/eventually.h"
#include "testing/temporaryFolder.h"

namespace Testing {

// A name in the file system, or behind a zero byte an abstract one; an empty one is none.
class UnixAddress {
 public:
  explicit UnixAddress(const std::string& name)
      : length_(static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())) {
    if (name.size() > sizeof address_.sun_path) throw std::runtime_error("too long a name for a socket");
    address_.sun_family = AF_UNIX;
    std::memcpy(address_.sun_path, name.data(), name.size());
  }

  const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&address_); }
  socklen_t Length() const { return length_; }

 private:
  sockaddr_un address_{};
  socklen_t length_;
};

// What waits for a text longer than programs have to be is a test that has failed.
class DatagramSocket {
 public:
  explicit DatagramSocket(const std::string& name = {}) {
    const timeval patience{kEventually.count(), 0};
    setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    const UnixAddress address(name);
    if (!name.empty() && bind(socket_.Get(), address.Get(), address.Length()) != 0) {
      throw std::runtime_error("cannot bind a socket");
    }
  }

  // 0 or the errno.
  int Send(const std::string& receiver, const std::string& text, int flags = 0) const {
    const UnixAddress address(receiver);
    const ssize_t size = sendto(socket_.Get(), text.data(), text.size(), MSG_NOSIGNAL | flags, address.Get(),
                                address.Length());
    return size >= 0 ? 0 : errno;
  }
  // A text, and its sender's name.
  std::pair<std::string, std::string> Receive() const {
    std::string text(1U << 18, '\0');
    sockaddr_un sender{};
    socklen_t length = sizeof sender;
    const ssize_t size =
        recvfrom(socket_.Get(), text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&sender), &length);
    if (size < 0) throw std::runtime_error("nobody sends");
    text.resize(static_cast<std::size_t>(size));
    // The kernel tells nothing of one without a name.
    constexpr socklen_t kNothing = offsetof(sockaddr_un, sun_path);
    return {text, {sender.sun_path, std::max(length, kNothing) - kNothing}};
  }

 private:
  const Corvane::FileDescriptor socket_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

// The agent's end of what programs hand over. A test plays it step by step.
class AgentDouble {
 public:
  explicit AgentDouble(std::string path) : path_(std::move(path)), socket_(path_) {}
  AgentDouble(const AgentDouble&) = delete;
  AgentDouble& operator=(const AgentDouble&) = delete;
  ~AgentDouble() { unlink(path_.c_str()); }

  static std::string Kept(std::uint64_t sequence) {
    return R"({"status":"kept","sequence":)" + std::to_string(sequence) + "}";
  }
  static std::string Refused(const std::string& error, const std::string& diagnosis = "why") {
    return R"({"status":"refused","error":")" + error + R"(","diagnosis":")" + diagnosis + "\"}";
  }

  const std::string& Path() const { return path_; }
  const DatagramSocket& Socket() const { return socket_; }
  // The next item's text, which it answers.
  std::string Serve(const std::string& answer) const {
    const auto [text, sender] = socket_.Receive();
    socket_.Send(sender, answer);
    return text;
  }
  // Puts in as many texts as the socket holds. Gives how many there are.
  int Fill() const {
    int count = 0;
    // A sender may have no more room of its own before that: only a fresh one can tell.
    for (int before = -1; count != before;) {
      before = count;
      for (const DatagramSocket sender; sender.Send(path_, "filler", MSG_DONTWAIT) == 0;) ++count;
    }
    return count;
  }

 private:
  const std::string path_;
  const DatagramSocket socket_;
};

}  // namespace Testing

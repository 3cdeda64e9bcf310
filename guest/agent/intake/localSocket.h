#pragma once

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/corvane/fileDescriptor.h"

namespace GuestAgent {

// The longest text that is taken from a local program.
inline constexpr std::size_t kLongestRequest = 131072;

// Where answers go: an abstract address, or nowhere. A name in the file system isn't answered: who bound it
// could have put another daemon's socket there by now, to which the agent would then speak in its own name.
class ReturnAddress {
 public:
  ReturnAddress() = default;
  ReturnAddress(const sockaddr_un& address, socklen_t length);

  bool IsKnown() const { return length_ != 0; }
  const sockaddr_un& Address() const { return address_; }
  socklen_t Length() const { return length_; }

 private:
  sockaddr_un address_{};
  socklen_t length_ = 0;
};

// The Unix datagram socket on which local programs hand over data. Anybody may send to it; the kernel tells
// with each datagram who did (SCM_CREDENTIALS, the SO_PEERCRED of sockets without a connection). Failures to
// open throw std::system_error or std::runtime_error.
class LocalSocket {
 public:
  struct Datagram {
    // Valid until the next call.
    std::string_view text;
    bool isTooLong = false;
    uid_t user = 0;
    gid_t group = 0;
    ReturnAddress sender;
  };

  // Takes the place of a socket that nobody listens on any more.
  explicit LocalSocket(const std::string& path);
  LocalSocket(const LocalSocket&) = delete;
  LocalSocket& operator=(const LocalSocket&) = delete;
  ~LocalSocket();

  int Descriptor() const { return socket_.Get(); }
  // The next one, without waiting.
  std::optional<Datagram> Receive();
  // An answer that the sender has no room for is lost.
  void Answer(const ReturnAddress& sender, std::string_view text) const;

 private:
  const std::string path_;
  Corvane::FileDescriptor socket_;
  const std::unique_ptr<char[]> buffer_;
};

}  // namespace GuestAgent

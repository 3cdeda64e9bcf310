#pragma once

#include <sys/socket.h>
#include <sys/time.h>

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/corvane/fileDescriptor.h"
#include "testing/eventually.h"
#include "tests/stream/listenerDouble.h"

namespace Testing {

inline std::string Frame(const std::string& text) {
  char size[16];
  std::snprintf(size, sizeof size, "%zx\r\n", text.size());
  return size + text + "\r\n";
}

inline constexpr const char kHead[] = "HTTP/1.1 200 OK\r\n\r\n";

// One call that a test answers step by step. Ends with the object.
class Call {
 public:
  explicit Call(Corvane::FileDescriptor connection) : connection_(std::move(connection)) {
    const timeval patience{kEventually.count(), 0};
    setsockopt(connection_.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    char part[65536];
    while (request_.find("\r\n\r\n{") == std::string::npos || !request_.ends_with("}}}")) {
      const ssize_t size = recv(connection_.Get(), part, sizeof part, 0);
      if (size <= 0) throw std::runtime_error("no whole request comes");
      request_.append(part, static_cast<std::size_t>(size));
    }
    Send(kHead);
  }

  bool Asks(std::string_view text) const { return request_.find(text) != std::string::npos; }
  void Send(const std::string& bytes) const {
    send(connection_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
  // A publication of that VM, which its payload tells from others; both are base64 and plain.
  void Give(const std::string& vm, const std::string& payload, bool history = false) const {
    Send(Frame(R"({"jsonrpc":"2.0","id":1,"result":{"payload":")" + payload +
               R"(","topic":"a","vm_id_type":"MGR_VM_ID","mgr_vm_id":")" + vm +
               R"(","create_time":"2026-11-24T21:15:00Z","token":"","history":)" +
               (history ? "true" : "false") + "}}"));
  }
  // Waits for the caller's end of it.
  bool HasEnded() const {
    char byte = 0;
    return recv(connection_.Get(), &byte, 1, 0) == 0;
  }

 private:
  const Corvane::FileDescriptor connection_;
  std::string request_;
};

// In place of a daemon, so that a test says what comes when.
class DaemonDouble {
 public:
  std::uint16_t port() const { return port_.number(); }
  Call Next() const {
    if (!Eventually([this] { return port_.HasConnection(); })) throw std::runtime_error("no call comes");
    return Call(port_.Accept());
  }

 private:
  const ListeningPort port_;
};

}  // namespace Testing

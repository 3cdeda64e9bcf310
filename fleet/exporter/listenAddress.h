#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>
#include <string_view>

namespace Fleet {

// Where the server listens: "127.0.0.1:9940" or "[::1]:9940". Port 0 takes a free one.
class ListenAddress {
 public:
  // Throws std::invalid_argument with a text for the user.
  explicit ListenAddress(std::string_view text);

  const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&address_); }
  bool IsV6() const { return address_.ss_family == AF_INET6; }
  bool IsLoopback() const;
  // As it stands in a URL, without the port.
  const std::string& Host() const { return host_; }

 private:
  sockaddr_storage address_{};
  std::string host_;
};

}  // namespace Fleet

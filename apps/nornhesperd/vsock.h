#pragma once

#include <sys/socket.h>

#include <boost/asio/basic_datagram_socket.hpp>
#include <cstddef>
#include <cstdint>

#include "platform/krell/vsockAddress.h"

// The number of the vsock address family, which is also the level of its socket options. It is found once;
// where the kernel hands it out by a device file, the device stays open for the life of the process, as the
// family lasts only for so long. Throws boost::system::system_error with EAFNOSUPPORT when the kernel has no
// vsock, in every call anew. Requires: the first call is over before a second thread
// calls.
int GetVsockAddressFamily();

// Opens the vsock device for its ioctls; gives the descriptor, or -1 with errno. A shortage shows in errno at
// whichever of the device's paths it struck.
int OpenVsockDevice();

// Vsock for boost::asio.
namespace vsock {

class packet_proto;

class endpoint {
 public:
  using protocol_type = packet_proto;

  endpoint() : endpoint(Krell::kAnyCid, Krell::kAnyPort) {}
  endpoint(std::uint32_t cid, std::uint32_t port)
      : address_{static_cast<std::uint16_t>(GetVsockAddressFamily()), 0, port, cid, 0} {}

  protocol_type protocol() const;
  sockaddr* data() { return reinterpret_cast<sockaddr*>(&address_); }
  const sockaddr* data() const { return reinterpret_cast<const sockaddr*>(&address_); }
  std::size_t size() const { return sizeof(address_); }
  std::size_t capacity() const { return sizeof(address_); }
  // Throws boost::system::system_error with EINVAL for more than there is room for.
  void resize(std::size_t size);

  std::uint32_t cid() const { return address_.cid; }
  std::uint32_t port() const { return address_.port; }

 private:
  Krell::VsockAddress address_;
};

// Datagrams.
class packet_proto {
 public:
  using endpoint = vsock::endpoint;
  using socket = boost::asio::basic_datagram_socket<packet_proto>;

  int family() const { return GetVsockAddressFamily(); }
  int type() const { return SOCK_DGRAM; }
  int protocol() const { return 0; }
};

inline packet_proto endpoint::protocol() const {
  return {};
}

}  // namespace vsock

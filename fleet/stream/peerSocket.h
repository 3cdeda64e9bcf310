#pragma once

#include <sys/types.h>

#include <optional>

namespace Fleet {

// The other end of a connection within this machine. Until somebody has accepted it, it is nobody's: kernels
// then tell root or the listener's user.
struct PeerSocket {
  bool accepted = false;
  uid_t user = 0;
};

// What the kernel tells of the socket at the other end of this one, both of them of IPv4 and of this network
// namespace. Nothing when there is no such socket, or it has been closed. Throws std::runtime_error when the
// kernel doesn't tell.
std::optional<PeerSocket> FindPeer(int socket);

}  // namespace Fleet

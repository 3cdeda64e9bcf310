#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/krell/vsockAddress.h"

namespace Krell {

struct Datagram {
  std::string text;
  std::uint32_t cid = 0;
  std::uint32_t port = 0;
};

// The guest's end of the vsock: a datagram socket of a running VM. It makes the same plain calls as any
// program of a guest; the program that uses it links krell_vsock. Failures throw std::system_error.
class GuestSocket {
 public:
  // EADDRNOTAVAIL if no VM with this cid runs, EADDRINUSE if the port is taken.
  explicit GuestSocket(std::uint32_t cid, std::uint32_t port = kAnyPort);
  GuestSocket(const GuestSocket&) = delete;
  GuestSocket& operator=(const GuestSocket&) = delete;
  GuestSocket(GuestSocket&& other) noexcept;
  GuestSocket& operator=(GuestSocket&& other) noexcept;
  ~GuestSocket();

  // Sends to a port of the host. What the kernel drops (rate, privilege, full buffer) is no failure.
  // ECONNRESET: nobody listens there. ENODEV: the VM has stopped.
  void Send(std::uint32_t hostPort, std::string_view text);
  // The next datagram, cut to kLargestDatagram bytes, or nothing after the timeout; a negative timeout waits
  // without limit, and is ended by a signal handler too.
  std::optional<Datagram> Receive(std::chrono::milliseconds timeout);

  std::uint32_t Cid() const { return cid_; }
  std::uint32_t Port() const { return port_; }
  // For poll: readable when a datagram waits.
  int Descriptor() const { return fd_; }

 private:
  bool IsReadable(int timeout) const;

  int family_ = kStandardVsockFamily;
  int fd_ = -1;
  std::uint32_t cid_;
  std::uint32_t port_ = kAnyPort;
};

}  // namespace Krell

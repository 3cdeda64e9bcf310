#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

namespace Bridge {

class Connection;
class Guest;
struct Context;

// How one guest is reached.
class Transport {
 public:
  virtual ~Transport() = default;

  virtual void Start() = 0;
  virtual void Close() = 0;
  // Now and then: what could not be started may be possible now.
  virtual void TryAgain() {}
  // Carries a request for history to a port of the guest, if it is there. Requests that it can't be given are
  // dropped, as a datagram is.
  virtual void Ask(std::uint32_t port, std::string_view text) = 0;
  // One of the guest's connections is gone.
  virtual void Lost(const Connection&) {}
};

// As the guest's VM says. Requires: the guest outlives it.
std::unique_ptr<Transport> MakeTransport(Context& context, Guest& guest);

}  // namespace Bridge

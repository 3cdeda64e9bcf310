#pragma once

#include <cstdint>

#include "platform/corvane/mutex.h"

namespace Krell {

struct EndpointAddress;

// What wakes receivers: it sends a byte to the socket of an endpoint. May be used by any thread.
class Bell {
 public:
  // Never destroyed, as packets are sent up to the end of the process.
  static Bell& OfThisProcess();

  // False if nobody receives at the address. An endpoint that takes no more has been rung. The number tells
  // endpoints of this process apart that have had the same address.
  bool Ring(std::uint64_t endpoint, const EndpointAddress& address);

 private:
  bool RingConnected(std::uint64_t endpoint) CORVANE_REQUIRES(mutex_);
  bool RingAt(const EndpointAddress& address) CORVANE_REQUIRES(mutex_);
  void RenewSocket() CORVANE_REQUIRES(mutex_);
  void ConnectToFrequent(std::uint64_t endpoint, const EndpointAddress& address) CORVANE_REQUIRES(mutex_);

  Corvane::Mutex mutex_;
  int socket_ CORVANE_GUARDED_BY(mutex_) = -1;
  // The socket is connected to the one endpoint that is rung again and again, such as the gateway, or the
  // daemon's for a guest: that one needs no walk to its address. To others it sends all the same.
  std::uint64_t connected_ CORVANE_GUARDED_BY(mutex_) = 0;
  std::uint64_t last_ CORVANE_GUARDED_BY(mutex_) = 0;
  unsigned inARow_ CORVANE_GUARDED_BY(mutex_) = 0;
};

}  // namespace Krell

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "bench/cpuTime.h"
#include "bench/daemonProcess.h"
#include "bench/driver.h"
#include "bench/guests.h"

namespace Bench {

// CPU time, in seconds.
struct Usage {
  double server = 0;
  double serverSystem = 0;
  double reader = 0;  // the receiver
};

// What a load did to a server.
struct Outcome {
  double seconds = 0;  // from the first sending to the last arrival
  std::uint64_t sent = 0;
  std::uint64_t answers = 0;
  std::uint64_t deliveries = 0;
  std::uint64_t lost = 0;                // of the deliveries that were due; where none were, of the answers
  std::vector<std::uint64_t> latencies;  // of deliveries, in nanoseconds, ascending
  Usage used;

  double CpuMicrosPerDelivery() const;
  // Of an answered one.
  double CpuMicrosPerPublication() const;
  // Below which this part of the latencies is; 0 without any.
  double LatencyMicros(double part) const;
};

// Lets the load run for a moment, and then for its time. Each publication is due to so many streams.
// Requires: all streams are there.
Outcome Measure(pid_t server, Receiver& receiver, std::size_t reachedStreams, const Pace& pace,
                const std::function<void()>& send);

// Each VM publishes, until the daemon knows all that it will remember of it.
void Introduce(Guests& guests, const DaemonProcess& daemon);

}  // namespace Bench

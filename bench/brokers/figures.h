#pragma once

#include <cstdint>
#include <vector>

#include "bench/brokers/broker.h"
#include "bench/brokers/rows.h"

namespace Brokers {

// What one run has shown, or the medians of several.
struct Figures {
  double cpuMicros = 0;  // of the server, a delivery
  double perSecond = 0;  // publications that came to every subscriber
  double p50Micros = 0;  // from sending to reading
  double p99Micros = 0;
  double lost = 0;        // deliveries
  double readerLoad = 0;  // the subscribers' thread, as a share of a core
};

Figures Measure(Broker& broker, const Row& row, double seconds);
// Of each figure alone, but for the lost ones, which are summed up. Requires: there are some.
Figures Medians(const std::vector<Figures>& runs);

// What a full host costs: each VM sends the longest text as often as it may, to one subscriber.
struct HostLoad {
  double perSecond = 0;
  double lost = 0;
  double cores = 0;   // the daemon's, the kernel's work for it included
  double system = 0;  // the kernel's part, by samples
};

HostLoad MeasureHostLoad(const Stage& stage, double seconds);

}  // namespace Brokers

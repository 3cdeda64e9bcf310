#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Growth {

// What the daemon costs with so many of what grows.
struct Sample {
  std::size_t count = 0;
  double cpuMicros = 0;  // a publication
  double lost = 0;       // deliveries
};

struct Series {
  const char* name;     // what grows
  std::size_t reached;  // streams that each publication comes to; 0: all
  std::vector<Sample> samples;
};

struct Choice {
  std::string daemonProgram;
  unsigned repetitions = 3;
  double seconds = 3;
};

// Subscribers, VMs and topic prefixes, each from few to many. Says on standard error how far it is.
std::vector<Series> MeasureAll(const Choice& choice);

}  // namespace Growth

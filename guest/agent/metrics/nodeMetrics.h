#pragma once

#include <string>

#include "guest/agent/metrics/failedUnits.h"

namespace GuestAgent {

// The VM's own figures as OpenMetrics text (OpenMetrics 1.0), under the names that Prometheus' node exporter
// gives them. Bounded: of what a VM may have any number of (disks, filesystems, networks) there are sixteen
// at most, and the text never has more than 32 KiB. One thread.
class NodeMetrics {
 public:
  // Where the kernel and systemd tell of themselves; tests have folders of their own.
  struct Roots {
    std::string proc = "/proc";
    std::string sys = "/sys";
    std::string bus = "/run/dbus/system_bus_socket";
  };

  NodeMetrics() : NodeMetrics(Roots{}) {}
  explicit NodeMetrics(Roots roots);

  // The figures of this moment, ended by "# EOF\n". What can't be read is left out. Takes well below a
  // millisecond, but 100 ms when the bus is there and doesn't answer, which then is left alone for a while.
  std::string Text();

 private:
  Roots roots_;
  FailedUnits failedUnits_;
};

}  // namespace GuestAgent

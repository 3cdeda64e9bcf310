#pragma once

#include <sys/types.h>

namespace Testing {

// What the kernel says of a process; all zeros when it has ended.
struct ProcessFigures {
  double rssMiB = 0;
  double peakMiB = 0;  // VmHWM
  double cpuSeconds = 0;
  unsigned descriptors = 0;
};

ProcessFigures Look(pid_t pid);

// What all processes of the machine, and this one, have used so far.
double MachineCpuSeconds();
double OwnCpuSeconds();

}  // namespace Testing

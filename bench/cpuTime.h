#pragma once

#include <sys/types.h>

namespace Bench {

// Of all threads, user and system, to the nanosecond.
double CpuSeconds(pid_t process);

struct CpuShares {
  double user = 0;
  double system = 0;
};
// In seconds; the kernel tells them apart by samples.
CpuShares UserAndSystem(pid_t process);

}  // namespace Bench

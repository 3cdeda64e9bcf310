#pragma once

#include <sys/types.h>

namespace Bench {

// Of all threads, user and system, to the nanosecond.
double CpuSeconds(pid_t process);

// What of that the kernel did, by samples.
double SystemSeconds(pid_t process);

}  // namespace Bench

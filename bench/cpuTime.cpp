#include "bench/cpuTime.h"

#include <time.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

namespace Bench {

double CpuSeconds(pid_t process) {
  clockid_t clock{};
  timespec time{};
  if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double SystemSeconds(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 12; ++i) fields >> skipped;
  double ticks = 0;
  fields >> ticks;
  return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace Bench

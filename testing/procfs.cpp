#include "testing/procfs.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace Testing {
namespace {

double CpuSeconds(const std::string& process) {
  std::ifstream file(process + "/stat");
  std::string text;
  if (!std::getline(file, text)) return 0;
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; ++i) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

unsigned Descriptors(const std::string& process) {
  std::error_code ignored;
  unsigned count = 0;
  for (std::filesystem::directory_iterator at(process + "/fd", ignored), end; at != end;
       at.increment(ignored)) {
    ++count;
  }
  return count;
}

}  // namespace

double MachineCpuSeconds() {
  std::ifstream file("/proc/stat");
  std::string skipped;
  double user = 0;
  double nice = 0;
  double system = 0;
  file >> skipped >> user >> nice >> system;
  return (user + nice + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

double OwnCpuSeconds() {
  return CpuSeconds("/proc/self");
}

ProcessFigures Look(pid_t pid) {
  const auto process = "/proc/" + std::to_string(pid);
  ProcessFigures figures;
  std::ifstream status(process + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) figures.rssMiB = std::stod(line.substr(6)) / 1024;
    if (line.starts_with("VmHWM:")) figures.peakMiB = std::stod(line.substr(6)) / 1024;
  }
  figures.cpuSeconds = CpuSeconds(process);
  figures.descriptors = Descriptors(process);
  return figures;
}

}  // namespace Testing

// hesper-guestd: takes data from the programs of a VM, keeps it, and publishes it to the VM's host.

#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>

#include "guest/agent/agent.h"
#include "guest/agent/configuration.h"
#include "guest/link/stopSignals.h"
#include "guest/link/wayOptions.h"
#include "tools/arguments.h"

namespace {

constexpr const char* kConfigurationFile = "/etc/hesper/guestd.toml";
constexpr int kConfigurationError = 78;
constexpr int kSystemError = 71;

class KernelClock final : public GuestAgent::Clock {
 public:
  std::chrono::milliseconds BootTime() const override { return Read(CLOCK_BOOTTIME); }
  std::chrono::milliseconds WallTime() const override { return Read(CLOCK_REALTIME); }

 private:
  static std::chrono::milliseconds Read(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::milliseconds(time.tv_sec * 1000 + time.tv_nsec / 1000000);
  }
};

// The usual file may be missing.
GuestAgent::Configuration Load(const std::string& path) {
  if (!path.empty()) return GuestAgent::LoadConfiguration(path);
  if (access(kConfigurationFile, F_OK) != 0 && errno == ENOENT) return {};
  return GuestAgent::LoadConfiguration(kConfigurationFile);
}

}  // namespace

int main(int argc, char** argv) try {
  std::string path;
  Tools::CommandLine commandLine("hesper-guestd",
                                 "Takes data from a VM's programs and publishes it to the host.");
  GuestLink::WayOptions wayOptions(commandLine.Top());
  commandLine.Top().Value("CONFIG", path,
                          "configuration file (default: /etc/hesper/guestd.toml, if it is there)");
  if (const auto status = commandLine.Parse(argc, argv)) return *status;
  const auto configuration = Load(path);
  const auto way = wayOptions.Choose(configuration.transport);
  GuestLink::BlockStopSignals();
  const KernelClock clock;
  GuestAgent::Serve(configuration, *way, clock);
  return 0;
} catch (const GuestAgent::ConfigurationFault& fault) {
  std::fprintf(stderr, "hesper-guestd: %s\n", fault.what());
  return kConfigurationError;
} catch (const std::exception& error) {
  std::fprintf(stderr, "hesper-guestd: %s\n", error.what());
  return kSystemError;
}

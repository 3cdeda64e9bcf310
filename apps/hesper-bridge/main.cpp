// hesper-bridge: carries frames between the real VMs of a host and the endpoints of its directory.

#include <sys/resource.h>
#include <sys/stat.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "apps/hesper-bridge/hostBridge.h"
#include "platform/corvane/log.h"
#include "platform/corvane/textEscape.h"
#include "tools/arguments.h"

namespace {

// Each VM can have several connections, and each is a descriptor.
void RaiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char** argv) try {
  Bridge::Settings settings;
  std::string directory;
  bool noVsock = false;
  Tools::CommandLine commandLine(
      "hesper-bridge",
      "Carries guests' publications, their acknowledgements and requests for history "
      "between real VMs and the daemon of a host.");
  commandLine.Top()
      .Value("--vsock-port", settings.port, "the port that guests connect to")
      .Within(1U, Krell::kAnyPort - 1)
      .ShowDefault();
  commandLine.Top().Value("--host-dir", directory,
                          "the host's directory (default: KRELL_HOST_DIR, or else /run/tessaly/host)");
  commandLine.Top().Flag("--no-vsock", noVsock, "leave the kernel's vsock to others");
  if (const auto status = commandLine.Parse(argc, argv)) return *status;
  settings.vsock = !noVsock;

  RaiseDescriptorLimit();
  // A VMM that is not root's connects by its group.
  umask(0007);
  const Krell::Host host = directory.empty() ? Krell::Host::OfThisMachine() : Krell::Host(directory);
  boost::asio::io_context io(1);
  boost::asio::signal_set signals(io, SIGTERM, SIGINT);
  signals.async_wait([&io](const boost::system::error_code&, int) { io.stop(); });
  Bridge::HostBridge bridge(io, host, *Corvane::Service::Logger::sDefaultLogger, settings);
  bridge.Start();
  io.run();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "hesper-bridge: %s\n", Corvane::Detail::EscapeLine(error.what()).c_str());
  return 1;
}

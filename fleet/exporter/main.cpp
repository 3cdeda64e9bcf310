// hesper-exporter: the numbers of a host's daemon and of its VMs for Prometheus, and a page for people.

#include <signal.h>

#include <cstdio>
#include <ctime>
#include <exception>
#include <stdexcept>
#include <string>

#include "fleet/exporter/exporter.h"
#include "fleet/stream/callerOptions.h"
#include "platform/corvane/log.h"
#include "platform/corvane/system.h"
#include "platform/corvane/textEscape.h"
#include "tools/arguments.h"

namespace {

using Corvane::Service::LogInternal;

void AddOptions(Tools::Command& command, Fleet::ExporterSettings& settings) {
  Fleet::AddCallerOptions(command, settings.caller, settings.vmIdType);
  command.Value("--listen", settings.listen, "the address and port to serve at").ShowDefault();
  command.Value("--host", settings.hosts, "a further name that callers know this server by (repeat for more)")
      .Repeatable();
  command.Value("--max-age", settings.maxAge, "seconds until a VM's metrics are left out")
      .Within(1U, 86400U)
      .ShowDefault();
  command.Value("--series", settings.series, "the most series of one VM").Within(1U, 100000U).ShowDefault();
}

// Calls the exporter each second until the process is told to end.
void Serve(Fleet::Exporter& exporter, const sigset_t& signals) {
  constexpr timespec kSecond{1, 0};
  for (int signal = 0; signal != SIGTERM && signal != SIGINT;) {
    signal = sigtimedwait(&signals, nullptr, &kSecond);
    exporter.Tick(std::chrono::steady_clock::now());
  }
}

}  // namespace

int main(int argc, char** argv) try {
  Fleet::ExporterSettings settings;
  Tools::CommandLine commandLine("hesper-exporter",
                                 "Serves a host's publications as metrics and as a page for people.");
  AddOptions(commandLine.Top(), settings);
  if (const auto status = commandLine.Parse(argc, argv)) return *status;

  // Before any thread begins, so that all of them leave these to this one.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  auto* const log = Corvane::Service::Logger::sDefaultLogger.operator->();
  const Fleet::ListenAddress address(settings.listen);
  Fleet::Exporter exporter(settings, address, log);
  LogInternal(log, 6, "serves at http://%1:%2/", address.Host(), exporter.Port());
  if (!address.IsLoopback()) {
    LogInternal(log, 4,
                "%1 is no loopback address, and there is no TLS: tokens go over the network in the clear",
                address.Host());
  }
  Serve(exporter, signals);
  LogInternal(log, 6, "ends");
  // It keeps nothing, and has nobody to wait for.
  Corvane::System::QuickExit(0);
} catch (const std::exception& error) {
  std::fprintf(stderr, "hesper-exporter: %s\n", Corvane::Detail::EscapeLine(error.what()).c_str());
  return 1;
}

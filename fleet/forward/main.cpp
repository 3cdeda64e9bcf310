// hesper-forward: brings the publications of a host's VMs into NATS JetStream.

#include <signal.h>

#include <cstdio>
#include <exception>

#include "fleet/forward/forwarder.h"
#include "fleet/forward/makeStream.h"
#include "fleet/forward/options.h"
#include "fleet/nats/natsLink.h"
#include "platform/corvane/textEscape.h"

namespace {

// Of sysexits.h.
constexpr int kUnavailable = 69;
constexpr int kSystemError = 71;
constexpr int kNoPermission = 77;

int FailWith(int status, const std::exception& error) {
  std::fprintf(stderr, "hesper-forward: %s\n", Corvane::Detail::EscapeLine(error.what()).c_str());
  return status;
}

// Before there are threads, which inherit it.
void BlockStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

int Forward(const Fleet::ForwardOptions& options) try {
  if (options.makeStream) {
    std::puts(Fleet::MakeStream(options.nats, options.prefix, options.stream).c_str());
    return 0;
  }
  BlockStopSignals();
  Fleet::Forwarder(options).Run();
  return 0;
} catch (const Fleet::CallFault& fault) {
  return FailWith(kNoPermission, fault);
} catch (const Fleet::NatsFault& fault) {
  return FailWith(kUnavailable, fault);
} catch (const std::exception& error) {
  return FailWith(kSystemError, error);
}

}  // namespace

int main(int argc, char** argv) {
  Fleet::ForwardOptions options;
  if (const auto status = Fleet::ReadForwardOptions(argc, argv, options)) return *status;
  const int status = Forward(options);
  Fleet::CloseNats();
  return status;
}

#include "guest/link/stopSignals.h"

#include <signal.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <system_error>

namespace GuestLink {
namespace {

sigset_t StopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  return signals;
}

}  // namespace

void BlockStopSignals() {
  const auto signals = StopSignals();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
}

int OpenStopSignals() {
  const auto signals = StopSignals();
  const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  return descriptor;
}

}  // namespace GuestLink

#include "apps/nornhesperd/signalChecker.h"

#include <csignal>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"

namespace NornHesper {

SignalChecker::SignalChecker() : signals_(GlobalContext::Get()->GetIoService()) {
  signals_.add(SIGHUP);
  signals_.add(SIGTERM);
}

void SignalChecker::WaitForSignal() {
  signals_.async_wait(
      [self = Corvane::Ref<SignalChecker>(this)](const boost::system::error_code& error, int signalNumber) {
        self->HandleSignal(error, signalNumber);
      });
}

void SignalChecker::HandleSignal(const boost::system::error_code& error, int signalNumber) {
  if (error) {
    HESPER_LOG(3, "wait for signal failed, %1", error.message());
    return;
  }
  HESPER_LOG(6, "received signal %1", signalNumber);
  if (signalNumber == SIGTERM) Terminate();
  if (signalNumber == SIGHUP) Reload();
  WaitForSignal();
}

void SignalChecker::Reload() {}

void SignalChecker::Terminate() {
  GlobalContext::Get()->TerminateApplication();
}

}  // namespace NornHesper

#pragma once

#include <boost/asio/signal_set.hpp>

#include "platform/corvane/object.h"

namespace NornHesper {

// Takes SIGHUP and SIGTERM as handlers of the I/O context, on the main thread and not in signal context.
// Pending waits hold references, so the object must be held by a Corvane::Ref.
class SignalChecker final : public Corvane::ObjectImpl {
 public:
  // Takes both signals from here on. Throws boost::system::system_error when that fails.
  SignalChecker();

  // Arms one wait.
  void WaitForSignal();
  // Its handler. A failed wait is not armed again: the daemon runs on, deaf to signals.
  void HandleSignal(const boost::system::error_code& error, int signalNumber);
  // SIGHUP changes nothing: the configuration is read once. The hook is kept for a reload to come.
  void Reload();
  [[noreturn]] void Terminate();

 private:
  boost::asio::signal_set signals_;
};

}  // namespace NornHesper

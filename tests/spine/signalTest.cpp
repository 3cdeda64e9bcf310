#include <gtest/gtest.h>

#include <csignal>

#include "apps/nornhesperd/signalChecker.h"
#include "tests/spine/daemonProcess.h"

namespace {

using testing::ExitedWithCode;

// Runs the I/O context with the signals waiting; ends as the daemon does when it runs out of work.
void RunWithSignals(NornHesper::GlobalContext& context, std::initializer_list<int> signals) {
  const auto checker = Corvane::MakeRef<NornHesper::SignalChecker>();
  if (signals.size() == 0) {
    checker->HandleSignal(boost::asio::error::operation_aborted, SIGTERM);
  } else {
    checker->WaitForSignal();
  }
  for (const int signal : signals) {
    ::raise(signal);
  }
  context.RunIoService();
  context.TerminateApplication();
}

TEST(SignalDeathTest, HangupIsIgnoredAndTerminationEnds) {
  EXPECT_EXIT(RunWithSignals(StartContext(), {SIGHUP, SIGHUP, SIGTERM}), ExitedWithCode(0),
              "Running IO service\\.\\.\\.\n[^\n]+received signal 1\n[^\n]+received signal 1\n"
              "[^\n]+received signal 15\n[^\n]+Terminating\\.\\.\\.\n$");
}

TEST(SignalDeathTest, TerminationIsSilentBelowLevelSix) {
  EXPECT_EXIT(RunWithSignals(StartContext("<log><level>5</level></log>"), {SIGTERM}), ExitedWithCode(0),
              "^$");
}

// The last wait being gone, the context is out of work.
TEST(SignalDeathTest, FailedWaitIsNotArmedAgain) {
  EXPECT_EXIT(RunWithSignals(StartContext(), {}), ExitedWithCode(0),
              "error [^\n]+wait for signal failed, Operation canceled\n[^\n]+Running IO service\\.\\.\\.\n"
              "[^\n]+Terminating\\.\\.\\.\n$");
}

}  // namespace

#include <gtest/gtest.h>

#include <boost/asio/post.hpp>
#include <csignal>

#include "apps/nornhesperd/signalChecker.h"
#include "tests/spine/daemonProcess.h"

namespace {

using NornHesper::SignalChecker;
using testing::ExitedWithCode;

TEST(SignalDeathTest, HangupIsIgnoredAndTerminationEnds) {
  EXPECT_EXIT(
      {
        auto& context = StartContext(kDefaults);
        const auto checker = Corvane::MakeRef<SignalChecker>();
        checker->WaitForSignal();
        ::raise(SIGHUP);
        ::raise(SIGHUP);
        ::raise(SIGTERM);
        context.RunIoService();
        ::_exit(2);
      },
      ExitedWithCode(0),
      "received signal 1\n[^\n]+received signal 1\n[^\n]+received signal 15\n[^\n]+Terminating\\.\\.\\.\n$");
}

TEST(SignalDeathTest, TerminationIsSilentBelowLevelSix) {
  EXPECT_EXIT(
      {
        auto& context = StartContext("<config><log><level>5</level></log></config>");
        const auto checker = Corvane::MakeRef<SignalChecker>();
        checker->WaitForSignal();
        boost::asio::post(context.GetIoService(), [] { ::raise(SIGTERM); });
        context.RunIoService();
        ::_exit(2);
      },
      ExitedWithCode(0), "^$");
}

// Other signals are waited out; a failed wait is reported and is the last one, so that the context runs dry.
TEST(SignalDeathTest, FailedWaitIsNotArmedAgain) {
  EXPECT_EXIT(
      {
        auto& context = StartContext(kDefaults);
        const auto checker = Corvane::MakeRef<SignalChecker>();
        checker->HandleSignal(boost::asio::error::operation_aborted, SIGTERM);
        context.RunIoService();
        ::_exit(0);
      },
      ExitedWithCode(0), "error [^\n]+wait for signal failed, Operation canceled\n[^\n]+Running IO service");
}

}  // namespace

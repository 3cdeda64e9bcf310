#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>

#include "testing/daemon.h"
#include "testing/subscriber.h"

namespace {

using Testing::Daemon;
using Testing::SharedHost;

TEST(StartTest, SignalsAreLoggedAndTermEndsIt) {
  Daemon daemon;
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(daemon.WaitForLog("received signal 1"));
  EXPECT_TRUE(daemon.IsRunning());
  daemon.Signal(SIGTERM);
  EXPECT_EQ(daemon.Wait(), 0);
  const auto log = daemon.Log();
  EXPECT_LT(log.find("received signal 15"), log.find("Terminating..."));
}

TEST(StartTest, UnusableConfigurationIsToldOnStandardError) {
  Daemon::Options options;
  options.settings = "<unclosed>";
  options.waitUntilRunning = false;
  Daemon daemon(options);
  EXPECT_EQ(daemon.Wait(), 1);
  const auto log = daemon.Log();
  EXPECT_NE(log.find("Z(NonCorvane Early): ["), std::string::npos) << log;
  EXPECT_NE(log.find("failed to initialize corvane app with config "), std::string::npos) << log;
  EXPECT_NE(log.find("Nornhesperd failed to initialize, error(s): {65536, "), std::string::npos) << log;
}

// A second host directory whose kernel fails as asked.
class FaultyKernelTest : public ::testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(FaultyKernelTest, EndsTheDaemonWithStatusZeroAndAReason) {
  const auto directory = SharedHost().Directory() + "-faulty";
  std::filesystem::remove_all(directory);
  const Krell::Host host(directory);
  std::ofstream(directory + "/faults") << GetParam().first << '\n';
  Daemon::Options options;
  options.hostDirectory = directory;
  options.waitUntilRunning = false;
  Daemon daemon(options);
  EXPECT_EQ(daemon.Wait(), 0);
  EXPECT_NE(daemon.Log().find(GetParam().second), std::string::npos) << daemon.Log();
}

INSTANTIATE_TEST_SUITE_P(
    , FaultyKernelTest,
    ::testing::Values(
        std::pair("socket EAFNOSUPPORT", "Failed to create backend socket, "),
        std::pair("bind EADDRINUSE", "Failed to create backend socket, bind"),
        std::pair("setsockopt 9 EPERM", "Failed to set peer rate limit to 2, Operation not permitted"),
        std::pair("option 9 sticks-at 0", "Failed to limit packet rate, expected: 2, actual: 0"),
        std::pair("setsockopt 10 EPERM", "Failed to limit peers to priv, Operation not permitted"),
        std::pair("option 10 sticks-at 0", "Failed to limit peers to priv, verification failed")));

TEST(StartTest, ApiOnOneFamilyAloneWillDo) {
  Daemon first;
  const auto log = first.Log();
  EXPECT_NE(log.find("Listening on: "), std::string::npos);
  // The same API port again: neither family can be had, and guests are served all the same.
  Daemon::Options options;
  options.waitUntilRunning = false;
  Daemon second(options);
  ASSERT_TRUE(second.WaitForLog("Running IO service..."));
  Testing::Vm vm(41);
  Krell::GuestSocket guest(vm.cid());
  EXPECT_EQ(Testing::Publish(guest, second, Testing::PublicationText(7, "a", "")),
            Testing::GoodAcknowledgement(7));
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "apps/nornhesperd/logMessage.h"
#include "platform/corvane/paths.h"
#include "tests/spine/daemonProcess.h"

namespace {

namespace fs = std::filesystem;
namespace Paths = Corvane::Paths;
using testing::ExitedWithCode;

class StartDeathTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(fs::path(Paths::kPidFile).parent_path());
    fs::create_directories(fs::path(Paths::kEarlyLogFile).parent_path());
    fs::remove_all(Paths::kEarlyLogFile);
  }
};

TEST_F(StartDeathTest, UnusableConfigurationGoesToTheEarlyLog) {
  const std::string line =
      "^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z\\(NonCorvane Early\\): "
      "\\[globalContext.cpp, [0-9]+, NornHesper::GlobalContext::InitializeApplication\\], "
      "failed to initialize corvane app with config [^ ]+\\.xml, [^\n]+\n";
  EXPECT_EXIT(StartContext("<"), ExitedWithCode(1), line + "error\\(s\\): \\{65536, failed to init");
  EXPECT_THAT(ReadFile(Paths::kEarlyLogFile), testing::ContainsRegex(line + "$"));
  EXPECT_FALSE(fs::exists(Paths::kPidFile));
}

TEST_F(StartDeathTest, EarlyLogTakesAllLevelsAndNeedsNoFile) {
  fs::create_directories(Paths::kEarlyLogFile);  // can't be opened
  EXPECT_EXIT(
      {
        HESPER_LOG(7, "traced %1", "two\nlines");
        ::_exit(0);
      },
      ExitedWithCode(0),
      "Z\\(NonCorvane Early\\): \\[startTest.cpp, [0-9]+, [^]]+\\], traced two\\\\nlines\n$");
}

TEST_F(StartDeathTest, PidFileHoldsOnlyDigits) {
  for (int start = 0; start < 2; ++start) {
    EXPECT_EXIT(::_exit((StartContext(), ReadFile(Paths::kPidFile)) == std::to_string(::getpid()) ? 0 : 2),
                ExitedWithCode(0), "");
    std::ofstream(Paths::kPidFile) << "99999999999999 of an earlier daemon\n";
  }
}

TEST_F(StartDeathTest, PidFileThatCannotBeWritten) {
  const fs::path folder = fs::path(Paths::kPidFile).parent_path();
  fs::create_directories(Paths::kPidFile);
  EXPECT_EXIT(StartContext(), ExitedWithCode(1),
              "\\{65536, failed to create pid file [^ ]+nornhesperd.PID, cannot open .*Is a directory\\}\n$");
  fs::remove_all(folder);
  std::ofstream(folder).put('x');
  EXPECT_EXIT(StartContext(), ExitedWithCode(1),
              "\\{65536, failed to create pid file directories [^ ]+/var/run/tessaly, Not a directory\\}\n$");
}

TEST_F(StartDeathTest, SettingsAreReadAndReported) {
  std::string lines = "^";
  for (const char* setting :
       {"mirelPort=9999\\(default", "vmListenPort=-8888\\(updated", "mirelQueueLimit=16\\(default",
        "cidCacheMaxEntries=0\\(updated", "cidCacheExpirationInSeconds=600\\(default",
        "requestHistoryAll=true\\(updated", "historyPort=766\\(default"}) {
    lines += std::string("[^\n]+ info \\[configInfo.cpp [0-9]+ [^]]+\\], Configuration ") + setting + "\\)\n";
  }
  EXPECT_EXIT(
      {
        auto& settings = StartContext(
                             "<vmListenPort>-8888</vmListenPort><cidCacheMaxEntries>0</cidCacheMaxEntries>"
                             "<requestHistoryAll>true</requestHistoryAll>")
                             .GetConfigInfo();
        ::_exit(settings.GetVmListenPort() == -8888 && settings.GetRequestHistoryAll() &&
                        settings.GetHistoryPort() == 766
                    ? 0
                    : 2);
      },
      ExitedWithCode(0), lines + "$");
}

TEST_F(StartDeathTest, SuppressedStatementEvaluatesNothing) {
  EXPECT_EXIT(
      {
        StartContext("<log><level>3</level></log>");
        bool formatted = false;
        HESPER_LOG(6, "%1", (formatted = true));
        HESPER_LOG(3, "a fault, %1", 5);
        ::_exit(formatted ? 2 : 0);
      },
      ExitedWithCode(0), "^[^\n]+ error \\[startTest.cpp [0-9]+ [^]]+\\], a fault, 5\n$");
}

// Lowers the hard limit and gives up the right to raise it again.
void BindHardLimit(rlim_t hard) {
  const rlimit limits{hard, hard};
  ::setrlimit(RLIMIT_NOFILE, &limits);
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct capabilities[2] = {};
  ::syscall(SYS_capget, &header, capabilities);
  capabilities[0].effective &= ~(1U << CAP_SYS_RESOURCE);
  capabilities[0].permitted &= ~(1U << CAP_SYS_RESOURCE);
  ::syscall(SYS_capset, &header, capabilities);
}

TEST_F(StartDeathTest, OpenFilesAreLimited) {
  EXPECT_EXIT(
      {
        StartContext();
        rlimit limits{};
        ::getrlimit(RLIMIT_NOFILE, &limits);
        ::_exit(limits.rlim_cur == 1024 && limits.rlim_max == 2048 ? 0 : 2);
      },
      ExitedWithCode(0), "");
  fs::remove(Paths::kPidFile);
  EXPECT_EXIT((BindHardLimit(1500), StartContext()), ExitedWithCode(1),
              "\\{65536, failed to set max number of files, Operation not permitted\\}\n$");
  EXPECT_TRUE(fs::exists(Paths::kPidFile));
}

}  // namespace

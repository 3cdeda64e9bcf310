#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <iostream>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "platform/corvane/paths.h"
#include "testing/temporaryFolder.h"

namespace {

using Testing::ReadFile;
using Testing::TemporaryFolder;
namespace fs = std::filesystem;
namespace Paths = Corvane::Paths;
using testing::ExitedWithCode;

// The context exists once in a process and can be started once, so each start runs in a child, which ends
// with status 1 and the records on standard error when it fails.
void StartContext(const std::string& content = "<config/>") {
  auto folder = std::make_unique<TemporaryFolder>();
  const auto path = folder->Write("config.xml", content);
  const auto result = NornHesper::GlobalContext::Get()->InitializeApplication(path.c_str());
  folder.reset();
  if (result.HasErrors()) {
    std::cerr << result.ToString() << std::endl;
    ::_exit(1);
  }
}

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

TEST_F(StartDeathTest, PidFileAndFolderAreReadableWhateverTheUmask) {
  EXPECT_EXIT(
      {
        ::umask(0077);
        StartContext();
        const auto file = fs::status(Paths::kPidFile).permissions();
        const auto folder = fs::status(fs::path(Paths::kPidFile).parent_path()).permissions();
        ::_exit(file == fs::perms(0644) && folder == fs::perms(0755) ? 0 : 2);
      },
      ExitedWithCode(0), "");
}

TEST_F(StartDeathTest, SettingsAreToldOneByOneWithTheirOrigin) {
  const auto lines = [](const std::array<const char*, 7>& values, const char* origin) {
    const char* const keys[] = {"mirelPort",
                                "vmListenPort",
                                "mirelQueueLimit",
                                "cidCacheMaxEntries",
                                "cidCacheExpirationInSeconds",
                                "requestHistoryAll",
                                "historyPort"};
    std::string pattern;
    for (std::size_t i = 0; i < values.size(); ++i) {
      pattern += std::string("[^\n]+, Configuration ") + keys[i] + "=" + values[i] + "\\(" + origin + "\\)\n";
    }
    return pattern;
  };
  EXPECT_EXIT((StartContext(""), ::_exit(0)), ExitedWithCode(0),
              lines({"9999", "7777", "16", "3000", "600", "false", "766"}, "default"));
  EXPECT_EXIT((StartContext("<config><historyPort>7</historyPort><requestHistoryAll>true</requestHistoryAll>"
                            "<cidCacheExpirationInSeconds>5</cidCacheExpirationInSeconds>"
                            "<cidCacheMaxEntries>4</cidCacheMaxEntries><mirelQueueLimit>-3</mirelQueueLimit>"
                            "<vmListenPort>2</vmListenPort><mirelPort>1</mirelPort></config>"),
               ::_exit(0)),
              ExitedWithCode(0), lines({"1", "2", "-3", "4", "5", "true", "7"}, "updated"));
}

TEST_F(StartDeathTest, NeitherABrokenPipeNorALostTerminalEndsIt) {
  EXPECT_EXIT(
      {
        StartContext();
        for (const int number : {SIGPIPE, SIGXFSZ, SIGHUP}) ::raise(number);
        // A program that it starts is ended as usual.
        ::_exit(WTERMSIG(std::system("kill -PIPE $$")) == SIGPIPE ? 0 : 2);
      },
      ExitedWithCode(0), "");
}

TEST_F(StartDeathTest, NothingTakesThePlaceOfAClosedStandardError) {
  EXPECT_EXIT(
      {
        ::close(STDERR_FILENO);
        StartContext();
        struct stat status {};
        ::_exit(::fstat(STDERR_FILENO, &status) == 0 && S_ISCHR(status.st_mode) ? 0 : 2);
      },
      ExitedWithCode(0), "");
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
}

}  // namespace

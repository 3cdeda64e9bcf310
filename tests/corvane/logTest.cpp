#include "platform/corvane/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/corvane/temporaryFolder.h"

namespace {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;
using testing::HasSubstr;
using testing::MatchesRegex;

// What is written to standard error while the function runs.
template <typename Function>
std::string Capture(Function function) {
  testing::internal::CaptureStderr();
  function();
  return testing::internal::GetCapturedStderr();
}

TEST(Log, LevelsDecideAndAreShown) {
  const auto logger = Logger::Create({.level = 5});
  EXPECT_EQ(Capture([&] { LogInternal(logger.get(), 6, "%1", "hidden"); }), "");
  const char* const names[] = {"crit", "crit", "crit", "error", "warning", "notice", "info", "debug"};
  logger->SetLevel(7);
  const auto child = logger->CreateLogger("AuthzHandler");
  for (int level = 0; level <= 7; ++level) {
    EXPECT_THAT(Capture([&] { LogInternal(child.get(), level, "port %1", 7777); }),
                MatchesRegex("[-0-9]+T[0-9:.]+[-+][0-9:]+ [0-9]+ " + std::string(names[level]) +
                             " AuthzHandler: port 7777\n"));
  }
}

TEST(Log, HostileTextStaysOneLine) {
  const auto logger = Logger::Create({});
  const std::string line = Capture([&] {
    LogInternal(logger.get(), 3, "failed to json-parse '%1'",
                "{}\n2024-01-01 error forged\x1b[2J %1 {} \xff");
  });
  EXPECT_THAT(line, HasSubstr("'{}\\n2024-01-01 error forged\\x1b[2J %1 {} \\xff'\n"));
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
}

TEST(Log, FileIsRotatedWithinItsBounds) {
  const TemporaryFolder folder;
  const auto logger = Logger::Create({.file = folder / "a.log", .maxBytes = 1000, .maxFiles = 3});
  Capture([&] {
    for (int line = 0; line < 200; ++line) {
      LogInternal(logger.get(), 6, "line %1 of many", line);
    }
  });
  EXPECT_THAT(ReadFile(folder / "a.log"), HasSubstr("line 199 of many\n"));
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder / ".")) {
    ++files;
    EXPECT_LE(entry.file_size(), 1000U);
    EXPECT_EQ(entry.status().permissions() & std::filesystem::perms::others_all,
              std::filesystem::perms::none);
  }
  EXPECT_EQ(files, 3U);
}

}  // namespace

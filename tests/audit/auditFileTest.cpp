#include "platform/audit/auditFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <thread>
#include <vector>

#include "tests/corvane/temporaryFolder.h"

namespace Tessaly::Audit {
namespace {

namespace Files = std::filesystem;

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

/// How many times the text stands in what the action writes to standard error.
template <typename Action>
int CountInLog(const std::string& text, Action action) {
  testing::internal::CaptureStderr();
  action();
  const auto log = testing::internal::GetCapturedStderr();
  int count = 0;
  for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
  return count;
}

TEST(AuditFile, IsMadeForItsOwnerAloneAndKeepsWhatIsThere) {
  const TemporaryFolder folder;
  const auto path = folder / "var/log/tessaly/audit.log";
  EXPECT_TRUE(AuditFile(path).Append("one\n"));
  EXPECT_TRUE(AuditFile(path).Append("two\n"));
  EXPECT_EQ(ReadFile(path), "one\ntwo\n");
  EXPECT_EQ(ModeOf(path), 0600U);
  EXPECT_EQ(ModeOf(folder / "var/log/tessaly"), 0700U);
}

TEST(AuditFile, FollowsARotation) {
  const TemporaryFolder folder;
  const auto path = folder / "logs/audit.log";
  AuditFile file(path);
  EXPECT_TRUE(file.Append("one\n"));
  Files::rename(path, path + ".1");
  EXPECT_TRUE(file.Append("two\n"));
  Files::remove_all(folder / "logs");
  EXPECT_TRUE(file.Append("three\n"));
  EXPECT_EQ(ReadFile(path), "three\n");
}

TEST(AuditFile, AFullDiskIsToldOnceAndTheEndOfIt) {
  const TemporaryFolder folder;
  const auto path = folder / "audit.log";
  AuditFile file(path);
  for (int episode = 0; episode < 2; ++episode) {
    Files::remove(path);
    Files::create_symlink("/dev/full", path);
    EXPECT_EQ(CountInLog("Audit records are lost: cannot write to",
                         [&] {
                           for (int i = 0; i < 3; ++i) EXPECT_FALSE(file.Append("lost\n"));
                         }),
              1);
    Files::remove(path);
    EXPECT_EQ(CountInLog("Audit records are written again, 3 were lost",
                         [&] {
                           for (int i = 0; i < 2; ++i) EXPECT_TRUE(file.Append("kept\n"));
                         }),
              1);
    EXPECT_EQ(ReadFile(path), "kept\nkept\n");
  }
}

TEST(AuditFile, ARecordThatIsCutShortDoesNotTouchTheNextOne) {
  const TemporaryFolder folder;
  const auto path = folder / "audit.log";
  AuditFile file(path);
  EXPECT_TRUE(file.Append("first\n"));
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit small = before;
  small.rlim_cur = 10;
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  const bool whole = file.Append("a long record\n");
  const bool none = file.Append("no room at all\n");
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(whole);
  EXPECT_FALSE(none);
  EXPECT_TRUE(file.Append("next\n"));
  EXPECT_TRUE(file.Append("last\n"));
  EXPECT_EQ(ReadFile(path), "first\na lo\nnext\nlast\n");
}

TEST(AuditFile, LinesOfSeveralThreadsStayWhole) {
  const TemporaryFolder folder;
  const auto path = folder / "audit.log";
  AuditFile file(path);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (char name = 'a'; name < 'e'; ++name) {
    threads.emplace_back([&file, name] {
      for (int i = 0; i < 200; ++i) EXPECT_TRUE(file.Append(std::string(99, name) + "\n"));
    });
  }
  for (auto& thread : threads) thread.join();
  std::ifstream lines(path);
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count)
    ASSERT_EQ(line, std::string(99, line.empty() ? '?' : line.front()));
  EXPECT_EQ(count, 800);
}

}  // namespace
}  // namespace Tessaly::Audit

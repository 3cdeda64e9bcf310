#include "platform/audit/auditFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "testing/temporaryFolder.h"

namespace Tessaly::Audit {
namespace {

using Testing::ReadFile;
using Testing::TemporaryFolder;
namespace Files = std::filesystem;

// How many times the text is in what the action writes to standard error.
template <typename Action>
int CountInLog(const std::string& text, Action action) {
  testing::internal::CaptureStderr();
  action();
  const auto log = testing::internal::GetCapturedStderr();
  int count = 0;
  for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
  return count;
}

TEST(AuditFileTest, IsMadeForItsOwnerAloneAndKeepsWhatIsThere) {
  const TemporaryFolder folder;
  const auto path = folder / "var/log/tessaly/audit.log";
  EXPECT_TRUE(AuditFile(path).Append("one\n"));
  EXPECT_TRUE(AuditFile(path).Append("two\n"));
  EXPECT_EQ(ReadFile(path), "one\ntwo\n");
  std::ofstream(path, std::ios::app) << "cut sh";
  AuditFile file(path);
  EXPECT_TRUE(file.Append("three\n"));
  EXPECT_TRUE(file.Append("four\n"));
  EXPECT_EQ(ReadFile(path), "one\ntwo\ncut sh\nthree\nfour\n");
  EXPECT_EQ(Files::status(path).permissions(), Files::perms(0600));
  EXPECT_EQ(Files::status(folder / "var/log/tessaly").permissions(), Files::perms(0700));
}

TEST(AuditFileTest, FollowsARotation) {
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

TEST(AuditFileTest, TakesLinesWithoutAFreeDescriptor) {
  if (SANITIZED) GTEST_SKIP() << "the sanitizer's own checks need descriptors";
  const TemporaryFolder folder;
  const auto path = folder / "audit.log";
  AuditFile file(path);
  ASSERT_TRUE(file.Open());
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit none = before;
  none.rlim_cur = 0;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const bool first = file.Append("one\n");
  Files::rename(path, path + ".1");
  const bool renamed = file.Append("two\n");
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_TRUE(first);
  EXPECT_TRUE(renamed);
  EXPECT_TRUE(file.Append("three\n"));
  EXPECT_EQ(ReadFile(path + ".1"), "one\ntwo\n");
  EXPECT_EQ(ReadFile(path), "three\n");
}

TEST(AuditFileTest, AFullDiskIsToldOnceAndTheEndOfIt) {
  const TemporaryFolder folder;
  const auto path = folder / "audit.log";
  AuditFile file(path);
  for (int episode = 0; episode < 2; ++episode) {
    Files::remove(path);
    Files::create_symlink("/dev/full", path);
    EXPECT_EQ(CountInLog("Audit records are lost: cannot write to",
                         [&] {
                           for (int i = 0; i < 3; ++i) {
                             EXPECT_FALSE(file.Append("lost\n"));
                           }
                         }),
              1);
    Files::remove(path);
    EXPECT_EQ(CountInLog("Audit records are written again, 3 were lost",
                         [&] {
                           for (int i = 0; i < 2; ++i) {
                             EXPECT_TRUE(file.Append("kept\n"));
                           }
                         }),
              1);
    EXPECT_EQ(ReadFile(path), "kept\nkept\n");
    EXPECT_EQ(file.Lost(), 3U * (static_cast<unsigned>(episode) + 1));
  }
}

TEST(AuditFileTest, ARecordThatIsCutShortDoesNotTouchTheNextOne) {
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
  EXPECT_EQ(ReadFile(path), "first\na lo\nnext\n");
}

}  // namespace
}  // namespace Tessaly::Audit

#include "platform/corvane/log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "platform/corvane/panic.h"
#include "testing/temporaryFolder.h"

namespace {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;
using testing::HasSubstr;
using testing::MatchesRegex;
using Testing::ReadFile;
using Testing::TemporaryFolder;

// What is written to standard error while the function runs.
template <typename Function>
std::string Capture(Function function) {
  testing::internal::CaptureStderr();
  function();
  return testing::internal::GetCapturedStderr();
}

TEST(LogTest, LevelsDecideAndAreShown) {
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

TEST(LogTest, HostileTextStaysOneLine) {
  const auto logger = Logger::Create({});
  const std::string line = Capture([&] {
    LogInternal(logger.get(), 3, "failed to json-parse '%1'",
                "{}\n2024-01-01 error forged\x1b[2J %1 {} \xff \u061c\u200f\u202e\u009b\x7f \u00e4");
  });
  EXPECT_THAT(
      line,
      HasSubstr(
          "'{}\\n2024-01-01 error forged\\x1b[2J %1 {} \\xff \\u061c\\u200f\\u202e\\u009b\\x7f \u00e4'\n"));
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
}

// Standard error for as long as the object lives.
class ErrorPipe {
 public:
  ErrorPipe() : before_(::dup(STDERR_FILENO)) {
    EXPECT_EQ(::pipe(ends_), 0);
    ::dup2(ends_[1], STDERR_FILENO);
    ::close(ends_[1]);
  }
  ~ErrorPipe() {
    ::dup2(before_, STDERR_FILENO);
    ::close(before_);
    Close();
  }

  void Close() {
    if (ends_[0] >= 0) ::close(std::exchange(ends_[0], -1));
  }
  // What waits in the pipe.
  std::string Read() {
    ::fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    std::string text(1 << 20, '\0');
    const auto size = ::read(ends_[0], text.data(), text.size());
    return text.substr(0, size < 0 ? 0 : static_cast<std::size_t>(size));
  }

 private:
  const int before_;
  int ends_[2] = {-1, -1};
};

TEST(LogTest, StandardErrorThatNobodyReadsHoldsUpNobody) {
  const auto logger = Logger::Create({});
  const std::string text(9999, 'x');
  const auto before = ::signal(SIGPIPE, SIG_IGN);
  std::string first;
  std::string second;
  {
    ErrorPipe pipe;
    for (int i = 0; i < 200; ++i) logger->Write(6, text);
    first = pipe.Read();
    logger->Write(6, "later");
    second = pipe.Read();
    pipe.Close();
    logger->Write(6, text);
  }
  ::signal(SIGPIPE, before);
  // The line that the pipe's end cut is finished, and then comes what was lost.
  const auto read = std::count(first.begin(), first.end(), '\n');
  EXPECT_GT(read, 3);
  EXPECT_THAT(second,
              MatchesRegex("x*\n" + std::to_string(199 - read) +
                           " lines were lost, as standard error could not be written\n[^\n]+ later\n"));
}

TEST(LogDeathTest, PanicEndsTheProcessOverAFullPipe) {
  EXPECT_EXIT(
      {
        const ErrorPipe pipe;
        const auto logger = Logger::Create({});
        for (int i = 0; i < 20; ++i) logger->Write(6, std::string(9999, 'x'));
        NOT_REACHED();
      },
      testing::KilledBySignal(SIGABRT), "");
}

// It can't be opened once more without waiting.
TEST(LogTest, PipeThatHadNoReaderAtFirstHoldsUpNobody) {
  const TemporaryFolder folder;
  const std::string path = folder / "pipe";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  const auto openReader = [&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK); };
  const auto handler = ::signal(SIGPIPE, SIG_IGN);
  const int before = ::dup(STDERR_FILENO);
  int reader = openReader();
  const int writer = ::open(path.c_str(), O_WRONLY);
  ::dup2(writer, STDERR_FILENO);
  ::close(writer);
  ::close(reader);
  const auto logger = Logger::Create({});
  logger->Write(6, "lost");
  reader = openReader();
  for (int i = 0; i < 200; ++i) logger->Write(6, std::string(9999, 'x'));
  ::dup2(before, STDERR_FILENO);
  std::string text(100, '\0');
  EXPECT_EQ(::read(reader, text.data(), text.size()), 100);
  EXPECT_THAT(text, HasSubstr(" lines were lost, "));
  for (const int descriptor : {reader, before}) ::close(descriptor);
  ::signal(SIGPIPE, handler);
}

TEST(LogTest, FileIsRotatedWithinItsBounds) {
  const TemporaryFolder folder;
  const auto logger = Logger::Create({.file = folder / "a.log", .maxBytes = 1000, .maxFiles = 3});
  Capture([&] {
    for (int line = 0; line < 200; ++line) LogInternal(logger.get(), 6, "line %1 of many", line);
  });
  EXPECT_THAT(ReadFile(folder / "a.log"), HasSubstr("line 199 of many\n"));
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder / ".")) {
    ++files;
    EXPECT_LE(entry.file_size(), 1000U);
    EXPECT_EQ(entry.status().permissions() & std::filesystem::perms::others_all,
              std::filesystem::perms::none);
  }
  EXPECT_EQ(files, 3U);
}

}  // namespace

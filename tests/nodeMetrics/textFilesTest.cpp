#include "guest/agent/metrics/textFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <filesystem>
#include <string>
#include <vector>

#include "guest/agent/metrics/metricLines.h"
#include "testing/temporaryFolder.h"

namespace GuestAgent {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class TextFilesTest : public ::testing::Test {
 protected:
  std::vector<std::string> Due(std::chrono::milliseconds time = 1h) {
    std::vector<std::string> names;
    for (const auto& file : files_.Due(time)) names.push_back(file.name + "=" + file.text);
    return names;
  }

  Testing::TemporaryFolder folder_;
  std::vector<std::string> told_;
  TextFiles files_{folder_ / "dropped", [this](const std::string& line) { told_.push_back(line); }};
};

class TextFilesInFolderTest : public TextFilesTest {
 protected:
  TextFilesInFolderTest() { std::filesystem::create_directory(folder_ / "dropped"); }

  std::string Drop(const std::string& name, const std::string& text = "a 1\n") const {
    return folder_.Write("dropped/" + name, text);
  }
};

TEST_F(TextFilesTest, AFolderMayBeMissingAndCome) {
  EXPECT_THAT(Due(), IsEmpty());
  EXPECT_THAT(told_, IsEmpty());
  folder_.Write("dropped", "");
  EXPECT_THAT(Due(), IsEmpty());
  EXPECT_THAT(Due(), IsEmpty());
  EXPECT_THAT(told_, ElementsAre(HasSubstr("Not a directory")));
  std::filesystem::remove(folder_ / "dropped");
  std::filesystem::create_directory(folder_ / "dropped");
  folder_.Write("dropped/gpu.prom", "a 1\n");
  EXPECT_THAT(Due(), ElementsAre("gpu=a 1\n"));
}

TEST_F(TextFilesInFolderTest, AFileIsGivenWhenItChangesAndEveryFiveMinutes) {
  const std::string path = Drop("gpu.prom");
  Drop("db_1-x.prom", "b 1\n");
  Drop("note.txt");
  Drop(".gpu.prom.1");
  Drop(".hidden.prom");
  EXPECT_THAT(Due(0ms), ElementsAre("db_1-x=b 1\n", "gpu=a 1\n"));
  EXPECT_THAT(Due(299s), IsEmpty());
  // The same size at the same time, but another file.
  const auto time = std::filesystem::last_write_time(path);
  Drop("new", "a 2\n");
  std::filesystem::last_write_time(folder_ / "dropped/new", time);
  std::filesystem::rename(folder_ / "dropped/new", path);
  EXPECT_THAT(Due(299s), ElementsAre("gpu=a 2\n"));
  EXPECT_THAT(Due(300s), ElementsAre("db_1-x=b 1\n"));
  EXPECT_THAT(Due(598s), IsEmpty());
  EXPECT_THAT(Due(599s), ElementsAre("gpu=a 2\n"));
  // The same file, whose time alone is another one.
  std::filesystem::last_write_time(path, time + 1ns);
  EXPECT_THAT(Due(599s), ElementsAre("gpu=a 2\n"));
  // One that went and came again.
  std::filesystem::rename(path, folder_ / "away");
  EXPECT_THAT(Due(599s), IsEmpty());
  std::filesystem::rename(folder_ / "away", path);
  EXPECT_THAT(Due(599s), ElementsAre("gpu=a 2\n"));
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(TextFilesInFolderTest, FaultyOnesAreLeftOutAndToldOnceForEachChange) {
  std::filesystem::create_symlink("/etc/passwd", folder_ / "dropped/link.prom");
  ASSERT_EQ(mkfifo((folder_ / "dropped/pipe.prom").c_str(), 0600), 0);
  std::filesystem::create_directory(folder_ / "dropped/folder.prom");
  Drop("half.prom", "a 1\nb 2");
  Drop("long.prom", "# " + std::string(32 << 10, 'x') + "\n");
  Drop("whole.prom", "# " + std::string((32 << 10) - 3, 'x') + "\n");
  Drop("bad\x1b[1m.prom");
  EXPECT_THAT(Due(), SizeIs(1));
  EXPECT_THAT(told_, ElementsAre(HasSubstr("\"bad\\x1b[1m.prom\" is left out"),
                                 "textfile: folder.prom is left out: it is no regular file",
                                 "textfile: half.prom is left out: its last line isn't whole",
                                 "textfile: link.prom is left out: it is no regular file",
                                 "textfile: long.prom is left out: it has more than 32 KiB",
                                 "textfile: pipe.prom is left out: it is no regular file"));
  told_.clear();
  EXPECT_THAT(Due(2h), SizeIs(1));
  EXPECT_THAT(told_, IsEmpty());
  Drop("half.prom", "a 1\nb 2 3 4\n");
  EXPECT_THAT(Due(2h), IsEmpty());
  EXPECT_THAT(told_,
              ElementsAre("textfile: half.prom is left out: line 2 is neither a comment nor a sample"));
  Drop("half.prom", "a 1\nb 2\n");
  EXPECT_THAT(Due(2h), ElementsAre("half=a 1\nb 2\n"));
}

TEST_F(TextFilesInFolderTest, OfManyFilesTheFirstByNameAreTaken) {
  for (char c = 'z'; c >= 'a'; --c) Drop(std::string(1, c) + ".prom");
  const auto due = Due();
  ASSERT_THAT(due, SizeIs(16));
  EXPECT_EQ(due.front(), "a=a 1\n");
  EXPECT_EQ(due.back(), "p=a 1\n");
  EXPECT_THAT(told_, ElementsAre(HasSubstr("more than 16 files")));
  std::filesystem::remove(folder_ / "dropped/a.prom");
  EXPECT_THAT(Due(), ElementsAre("q=a 1\n"));
  EXPECT_THAT(told_, SizeIs(1));
}

TEST_F(TextFilesInFolderTest, AFolderOfTenThousandFilesIsReadInPart) {
  const std::string first = Drop("0000.prom");
  for (int i = 1; i < 10000; ++i) {
    std::filesystem::create_hard_link(first, folder_ / "dropped/!" + std::to_string(i) + ".prom");
  }
  Due();
  Due();
  EXPECT_THAT(told_, ElementsAre(HasSubstr(".prom\" is left out"), HasSubstr("more than 1000 entries")));
}

TEST_F(TextFilesInFolderTest, TheLinesToldAreBounded) {
  for (int change = 0; change < 10; ++change) {
    for (char c = 'a'; c < 'q'; ++c) Drop(std::string(1, c) + ".prom", std::string(change, '?') + "\n?\n");
    EXPECT_THAT(Due(), IsEmpty());
  }
  EXPECT_THAT(told_, SizeIs(16));
  EXPECT_THAT(told_.back(), HasSubstr("the next ones aren't told"));
  Drop("a.prom", "?\n");
  Due(1h + 5min);
  EXPECT_THAT(told_, SizeIs(17));
}

TEST(MetricLinesTest, LinesOfBothTextFormsAreGood) {
  for (const char* line :
       {"", "  \t", "# HELP a b \xc3\xa4\t", "#", "a 1", "a:b_C9 -1.5e+3 1700000000123", "a{} 1",
        "a{b=\"c\"} +Inf", "a{b=\"c\",} .5", "a { b = \"\" , _c1=\"\\\"\\\\}\\n, #\" } NaN 1.7e9", "  a\t1\t",
        "a 1.", "a -inf", "a InFinity", "a{b=\"\xc3\xa4\"}1"}) {
    EXPECT_EQ(FaultOfMetrics(std::string(line) + "\n"), "") << line;
  }
  EXPECT_EQ(FaultOfMetrics("a 1\n# EOF\n"), "");
}

TEST(MetricLinesTest, OtherLinesAreFaulty) {
  for (const char* line : {"a",
                           "a ",
                           "1a 1",
                           "a{b=\"c\"}",
                           "a{b=c} 1",
                           "a{b=\"c\" d=\"e\"} 1",
                           "a{b=\"c} 1",
                           "a{,} 1",
                           "a{b:c=\"d\"} 1",
                           "a{b=\"c\\",
                           "a{b=\"c\"",
                           "a{=\"c\"} 1",
                           "a 0x10",
                           "a 1e",
                           "a .",
                           "a +",
                           "a infinit",
                           "a 1x",
                           "a 1-2",
                           "a 1 2 3",
                           "a 1 2 # {} 1",
                           "{a=\"b\"} 1",
                           "a-b 1",
                           "a\xc3\xa4 1",
                           "a 1\r",
                           "# \x1b",
                           "# \xff",
                           "# \xc0\x80",
                           "a{b=\"\x7f\"} 1"}) {
    EXPECT_THAT(FaultOfMetrics("x 1\n" + std::string(line) + "\n"), HasSubstr("line 2 ")) << line;
  }
  EXPECT_THAT(FaultOfMetrics(std::string("a 1\n#\0\n", 7)), HasSubstr("line 2 isn't plain"));
  EXPECT_THAT(FaultOfMetrics("a 1\n# EOF\nb 1\n"), HasSubstr("line 2 ends"));
  EXPECT_NE(FaultOfMetrics(""), "");
  EXPECT_NE(FaultOfMetrics("a 1\n# EOF"), "");
}

}  // namespace
}  // namespace GuestAgent

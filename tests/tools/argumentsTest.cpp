#include "tools/arguments.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Tools {
namespace {

// A tool with one of each kind of option.
struct Sample {
  Sample() {
    auto run = line.Top().Subcommand("run", "runs");
    run.Value("--port", port, "a port").Within(1U, 65535U).ShowDefault();
    auto user = run.Value("--user", userName, "a user");
    auto password = run.Value("--password-file", file, "a file").ExistingFile().Needs(user);
    user.Needs(password);
    run.Flag("--raw", raw, "as it is").Excludes(user);
    run.Value("--kind", kind, "a kind").OneOf({"mgr", "bios"});
    run.Value("--topic", topics, "topics").Repeatable();
    run.Value("--past", past, "seconds");
    run.OnParsed([this] {
      if (past && *past < 0) throw UsageFault("--past is before the past");
    });
  }

  // Gives the status, and what was written to standard error.
  std::pair<std::optional<int>, std::string> Parse(std::vector<std::string> words) {
    words.insert(words.begin(), "sample");
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    testing::internal::CaptureStderr();
    const auto status = line.Parse(static_cast<int>(arguments.size()), arguments.data());
    return {status, testing::internal::GetCapturedStderr()};
  }

  CommandLine line{"sample", "A sample."};
  unsigned port = 9999;
  std::string userName;
  std::string file;
  std::string kind;
  bool raw = false;
  std::vector<std::string> topics;
  std::optional<std::int64_t> past;
};

TEST(ArgumentsTest, FillsTheVariablesOfAGoodCall) {
  Sample sample;
  EXPECT_EQ(
      sample.Parse({"run", "--port", "1", "--topic", "a", "--topic", "b", "--past", "5", "--raw"}).first,
      std::nullopt);
  EXPECT_EQ(sample.port, 1U);
  EXPECT_EQ(sample.topics, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(sample.past, 5);
  EXPECT_TRUE(sample.raw);
}

TEST(ArgumentsTest, AWrongCallIsOneLineAndAStatusOfItsOwn) {
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"walk"},
      {"run", "stray"},
      {"run", "--port"},
      {"run", "--port", "0"},
      {"run", "--port", "65536"},
      {"run", "--port", "x"},
      {"run", "--port", "1", "--port", "2"},
      {"run", "--kind", "vm"},
      {"run", "--password-file", "/"},
      {"run", "--password-file", "/dev/null/none"},
      {"run", "--user", "a"},
      {"run", "--raw", "--user", "a"},
      {"run", "--past", "-1"},
      {"run", "--unknown\x1b[31m\n"},
  };
  for (const auto& words : wrong) {
    Sample sample;
    const auto [status, text] = sample.Parse(words);
    const auto last = words.empty() ? std::string() : words.back();
    EXPECT_EQ(status, kUsageError) << last;
    EXPECT_TRUE(text.starts_with("sample: ")) << text;
    EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
    // What the caller typed can't steer the terminal.
    EXPECT_EQ(text.find('\x1b'), std::string::npos) << last;
  }
}

TEST(ArgumentsTest, OperandsAreTakenByTheirPlaceAsTheyAre) {
  struct Call {
    std::vector<std::string> words;
    std::string text;
    bool isGiven = true;
  };
  const std::vector<Call> calls = {
      {{"a", "-x", "two words"}, "two words"},
      {{"-x", "a", "", "-y"}, ""},
      {{"a"}, "", false},
      {{"a", "--", "--x"}, "--x"},
      {{"a", "[1,2]"}, "[1,2]"},
      {{"a", "{\"b\":\"c\"}"}, "{\"b\":\"c\"}"},
      {{"a", "\"b\""}, "\"b\""},
      {{"a", "@b=%c\n"}, "@b=%c\n"},
  };
  for (const auto& call : calls) {
    CommandLine line("sample", "A sample.");
    std::string topic;
    std::string text;
    bool isX = false;
    bool isY = false;
    line.Top().Value("TOPIC", topic, "a topic").Required();
    const auto operand = line.Top().Value("TEXT", text, "a text");
    line.Top().Flag("-x", isX, "x");
    line.Top().Flag("-y", isY, "y");
    auto words = call.words;
    words.insert(words.begin(), "sample");
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    EXPECT_EQ(line.Parse(static_cast<int>(arguments.size()), arguments.data()), std::nullopt);
    EXPECT_EQ(topic, "a");
    EXPECT_EQ(text, call.text);
    EXPECT_EQ(operand.IsGiven(), call.isGiven) << call.text;
  }
}

TEST(ArgumentsTest, HelpIsNoFault) {
  Sample sample;
  testing::internal::CaptureStdout();
  EXPECT_EQ(sample.Parse({"run", "--help"}).first, 0);
  const auto help = testing::internal::GetCapturedStdout();
  EXPECT_NE(help.find("--port UINT:UINT in [1 - 65535]=9999"), std::string::npos) << help;
}

}  // namespace
}  // namespace Tools

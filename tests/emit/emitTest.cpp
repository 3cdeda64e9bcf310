#include <gtest/gtest.h>

#include <boost/process.hpp>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "testing/agentDouble.h"
#include "testing/temporaryFolder.h"

namespace {

using Testing::AgentDouble;

constexpr int kRefused = 1;
constexpr int kNoAgent = 2;
constexpr int kWrongCall = 64;
constexpr int kDataError = 65;

// How a run ended; standard output has to be empty.
struct Outcome {
  int status = -1;
  std::string errors;

  bool operator==(const Outcome&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
  return stream << outcome.status << " " << outcome.errors;
}

const Outcome kKept{0, ""};

class EmitTest : public testing::Test {
 protected:
  Outcome RunOn(const std::string& inputFile, const std::vector<std::string>& arguments) const {
    namespace bp = boost::process;
    const Testing::TemporaryFolder files;
    Outcome outcome;
    outcome.status =
        bp::system(HESPER_EMIT_PROGRAM, bp::args(arguments), bp::env["HESPER_GUEST_SOCKET"] = agent_.Path(),
                   bp::std_in<inputFile, bp::std_out> files / "out", bp::std_err > files / "err");
    EXPECT_EQ(Testing::ReadFile(files / "out"), "");
    outcome.errors = Testing::ReadFile(files / "err");
    return outcome;
  }
  Outcome Run(const std::vector<std::string>& arguments, const std::string& input = "") const {
    return RunOn(folder_.Write("in", input), arguments);
  }
  std::future<Outcome> Start(std::vector<std::string> arguments, const std::string& input = "") const {
    folder_.Write("in", input);
    return std::async(std::launch::async,
                      [this, arguments = std::move(arguments)] { return RunOn(folder_ / "in", arguments); });
  }

  static std::string Item(const std::string& base64, const std::string& more = "") {
    return R"({"topic":"a.b",)" + more + R"("base64":")" + base64 + "\"}";
  }
  static std::string Told(const std::string& text) { return "hesper-emit: " + text + "\n"; }

  const Testing::TemporaryFolder folder_;
  const AgentDouble agent_{folder_ / "socket"};
};

TEST_F(EmitTest, ThePayloadIsATextOrAFileOrTheInput) {
  const std::string file = folder_.Write("file", "file\n");
  const std::vector<std::pair<std::vector<std::string>, std::string>> calls = {
      {{"a.b", "text"}, Item("dGV4dA==")},
      {{"a.b", ""}, Item("")},
      {{"a.b"}, Item("aW5wdXQK")},
      {{"--file", file, "a.b"}, Item("ZmlsZQo=")},
      {{"--latest", "a.b", "--token", "t\"", "--", "-x"}, Item("LXg=", R"("token":"t\"","class":"latest",)")},
  };
  for (const auto& [arguments, item] : calls) {
    auto run = Start(arguments, "input\n");
    EXPECT_EQ(agent_.Serve(AgentDouble::Kept(1)), item);
    EXPECT_EQ(run.get(), kKept);
  }
}

TEST_F(EmitTest, ARefusalIsOnePlainLine) {
  auto run = Start({"a.b", "text"});
  agent_.Serve(AgentDouble::Refused("permission", "user 7\\u001b[31m\\nmay not"));
  EXPECT_EQ(run.get(), (Outcome{kRefused, Told("refused (permission): user 7\\x1b[31m\\nmay not")}));
  // Without --lines it's the caller who tries again.
  run = Start({"a.b", "text"});
  agent_.Serve(AgentDouble::Refused("full", ""));
  EXPECT_EQ(run.get(), (Outcome{kRefused, Told("refused (full): ")}));
}

TEST_F(EmitTest, AnInputWithoutAnEndIsRefused) {
  const Outcome tooLarge{kRefused, Told("refused (size): the publication's text would be above 69608 bytes")};
  EXPECT_EQ(RunOn("/dev/zero", {"a.b"}), tooLarge);
  EXPECT_EQ(Run({"a.b", "--file", "/dev/zero"}), tooLarge);
}

TEST_F(EmitTest, WhoIsNotThereIsTold) {
  const std::string none = folder_ / "none";
  EXPECT_EQ(Run({"a.b", "text", "--socket", none}),
            (Outcome{kNoAgent, Told("no agent: " + none + ": No such file or directory")}));
  EXPECT_EQ(Run({"a.b", "text", "--timeout", "0.03"}),
            (Outcome{kNoAgent, Told("no answer in 0.03 seconds")}));
  agent_.Socket().Receive();
  auto run = Start({"a.b", "text"});
  agent_.Serve("no answer");
  EXPECT_EQ(run.get(), (Outcome{kNoAgent, Told("no answer: what the agent sent is none")}));
}

TEST_F(EmitTest, WrongCallsAreTold) {
  const std::string file = folder_.Write("file", "file\n");
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"a.b", "text", "more"},
      {"a.b", "text", "--file", file},
      {"a.b", "text", "--lines"},
      {"a.b", "--file", file, "--lines"},
      {"a.b", "--file", folder_ / "none"},
      {"a.b", "text", "--timeout", "-1"},
  };
  for (const auto& arguments : wrong) EXPECT_EQ(Run(arguments).status, kWrongCall) << arguments.size();
  // It can be opened, and has nothing at its beginning.
  EXPECT_EQ(Run({"a.b", "--file", "/proc/self/mem"}),
            (Outcome{kDataError, Told("cannot read /proc/self/mem: Input/output error")}));
}

TEST_F(EmitTest, LinesGoOnAfterARefusal) {
  const std::string large(1 << 20, 'x');
  auto run = Start({"a.b", "--lines"}, "one\n\n" + large + "\nthree");
  EXPECT_EQ(agent_.Serve(AgentDouble::Refused("topic", "no")), Item("b25l"));
  EXPECT_EQ(agent_.Serve(AgentDouble::Kept(1)), Item(""));
  EXPECT_EQ(agent_.Serve(AgentDouble::Kept(2)), Item("dGhyZWU="));
  EXPECT_EQ(run.get(),
            (Outcome{kRefused, Told("line 1: refused (topic): no") +
                                   Told("line 3: refused (size): the publication's text would be above "
                                        "69608 bytes")}));
}

TEST_F(EmitTest, LinesWaitForRoom) {
  auto run = Start({"a.b", "--lines", "--timeout", "20"}, "one\n");
  EXPECT_EQ(agent_.Serve(AgentDouble::Refused("rate")), Item("b25l"));
  EXPECT_EQ(agent_.Serve(AgentDouble::Refused("full")), Item("b25l"));
  EXPECT_EQ(agent_.Serve(AgentDouble::Kept(1)), Item("b25l"));
  EXPECT_EQ(run.get(), kKept);
  run = Start({"a.b", "--lines", "--timeout", "0.1"}, "one\n");
  EXPECT_EQ(agent_.Serve(AgentDouble::Refused("full")), Item("b25l"));
  EXPECT_EQ(run.get(), (Outcome{kRefused, Told("line 1: refused (full): why")}));
}

}  // namespace

// The agent as a program, with a host's double.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>

#include "testing/eventually.h"
#include "tests/agent/agentProgram.h"
#include "tests/agent/doubles.h"

namespace {

using namespace Testing;

constexpr const char* kUnbounded =
    "[sender]\nitems_per_second = 1000000\nburst_items = 1000000\n"
    "kilobytes_per_second = 1000000\nburst_kilobytes = 1000000\n";
constexpr std::uint32_t kCid = 5;

class AgentProgramTest : public ::testing::Test {
 protected:
  AgentProgramTest() { host_.AddVm(kCid); }

  TestHost host_;
};

// Runs in a process of its own as a user without rights. Gives what it gives.
template <typename Function>
int AsNobody(Function function) {
  const pid_t child = fork();
  if (child == 0) {
    if (setgid(65534) != 0 || setuid(65534) != 0) _exit(99);
    _exit(function());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

std::string JsonText(const std::string& topic, const std::string& payload) {
  return R"({"topic":")" + topic + R"(","payload":")" + payload + "\"}";
}

TEST_F(AgentProgramTest, PublishesWhatItIsGivenAndItsOwnFigures) {
  QuickHost daemon;
  AgentProgram agent(kCid);
  std::filesystem::create_directory(agent.File("textfile"));
  TemporaryFolder folder;
  std::filesystem::rename(folder.Write("gpu.prom", "gpu_celsius 61\n"), agent.File("textfile/gpu.prom"));
  agent.Start();
  LocalProgram program(agent.Socket());
  ASSERT_EQ(program.Emit("app.backup", "done in 12 s"), 0);
  EXPECT_TRUE(daemon.Awaits(
      R"("topic":"app.backup","token":""},"payload":{"category":"data","base64":"ZG9uZSBpbiAxMiBz")"));
  EXPECT_TRUE(daemon.Awaits(R"("topic":"hesper.guest.stats")"));
  EXPECT_TRUE(daemon.Awaits(R"("topic":"metrics.textfile.gpu")"));
}

TEST_F(AgentProgramTest, TellsTheCallerAtOnceWhatIsWrong) {
  AgentProgram agent(kCid, "[queue]\nitems = 16\n[sender]\nburst_items = 20\nitems_per_second = 1\n");
  agent.Start();
  LocalDatagrams program;
  const auto answer = [&](const std::string& text) {
    EXPECT_EQ(program.Send(agent.Socket(), text), 0);
    return program.Receive();
  };
  EXPECT_NE(answer("{}").find(R"("error":"request")"), std::string::npos);
  EXPECT_NE(answer(JsonText("a..b", "x")).find(R"("error":"topic")"), std::string::npos);
  EXPECT_NE(answer(JsonText("a\\nb", "x")).find(R"("error":"topic")"), std::string::npos);
  EXPECT_NE(answer(JsonText(std::string("a\0b", 3), "x")).find(R"("error":"request")"), std::string::npos);
  EXPECT_NE(answer(JsonText("a", std::string(60000, 'x'))).find(R"("error":"size")"), std::string::npos);
  EXPECT_NE(answer(JsonText("a", std::string(131072, 'x'))).find(R"("error":"size")"), std::string::npos);
  // The agent's own figures have their place.
  std::string last;
  int kept = 0;
  while ((last = answer(JsonText("a", "x"))).find(R"("kept")") != std::string::npos) ++kept;
  EXPECT_EQ(last, R"({"status":"refused","error":"full","diagnosis":"too much waits to be sent"})");
  EXPECT_GE(kept, 7);
  EXPECT_LE(kept, 8);
  for (int i = 0; i < 30 && last.find("full") != std::string::npos; ++i) last = answer(JsonText("a", "x"));
  EXPECT_NE(last.find(R"("error":"rate")"), std::string::npos) << last;
}

TEST_F(AgentProgramTest, TheLargestTextIsThatOfTheHost) {
  QuickHost daemon;
  AgentProgram agent(kCid);
  agent.Start();
  LocalProgram program(agent.Socket());
  ASSERT_EQ(program.Emit("a", ""), 0);
  ASSERT_TRUE(daemon.Awaits(R"("topic":"a")"));
  std::size_t empty = 0;
  for (const auto& text : daemon.Texts()) {
    if (TopicOf(text) == "a") empty = text.size();
  }
  // As long as can be: base64 grows by four.
  const std::size_t largest = (69608 - empty) / 4 * 3;
  EXPECT_EQ(program.Emit("a", std::string(largest, 'x')), 0);
  EXPECT_EQ(program.Emit("a", std::string(largest + 1, 'x')), -EMSGSIZE);
  EXPECT_TRUE(daemon.Awaits(R"("topic":"a")", 2));
}

TEST_F(AgentProgramTest, AsksTheKernelWhoASenderIs) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  AgentProgram agent(kCid,
                     "[[allow]]\nuser = 65534\ntopics = [\"app\"]\n[[allow]]\nuser = 0\ntopics = [\"*\"]\n");
  agent.Start();
  std::filesystem::permissions(std::filesystem::path(agent.Socket()).parent_path(),
                               std::filesystem::perms::others_exec, std::filesystem::perm_options::add);
  const auto emit = [&](const char* topic) {
    return [&agent, topic] { return -LocalProgram(agent.Socket()).Emit(topic, "x"); };
  };
  EXPECT_EQ(AsNobody(emit("app.x")), 0);
  EXPECT_EQ(AsNobody(emit("metrics.node")), EACCES);
  EXPECT_EQ(LocalProgram(agent.Socket()).Emit("metrics.node", "x"), 0);
}

TEST_F(AgentProgramTest, AFloodOfAStrangerKeepsNobodyOut) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  QuickHost daemon;
  AgentProgram agent(kCid);
  agent.Start();
  std::filesystem::permissions(std::filesystem::path(agent.Socket()).parent_path(),
                               std::filesystem::perms::others_exec, std::filesystem::perm_options::add);
  std::vector<pid_t> flooders;
  for (int i = 0; i < 3; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      if (setgid(65534) != 0 || setuid(65534) != 0) _exit(99);
      const LocalDatagrams program;
      const std::string noise = i == 0 ? std::string(100000, '[') : JsonText("app.x", std::string(1000, 'x'));
      for (;;) program.Send(agent.Socket(), noise);
    }
    flooders.push_back(child);
  }
  LocalProgram program(agent.Socket());
  for (int i = 0; i < 20; ++i) EXPECT_EQ(program.Emit("ours", std::to_string(i)), 0);
  EXPECT_TRUE(daemon.Awaits(R"("topic":"ours")", 20));
  EXPECT_LT(agent.Process().ResidentBytes(), SANITIZED ? std::size_t{1} << 30 : std::size_t{16} << 20);
  EXPECT_EQ(agent.Process().Logged("app.x"), 0U) << "a flood must not fill the log";
  for (const pid_t child : flooders) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

TEST_F(AgentProgramTest, HostileDatagramsLeaveNothingBehind) {
  AgentProgram agent(kCid);
  agent.Start();
  LocalDatagrams program;
  ASSERT_EQ(program.Send(agent.Socket(), JsonText("a", "x")), 0);
  ASSERT_NE(program.Receive(), "");
  const auto before = agent.Process().Descriptors();
  // Descriptors that are sent along are refused by the kernel, or closed.
  for (int i = 0; i < 50; ++i) {
    const int error = program.Send(agent.Socket(), "{}", STDERR_FILENO);
    if (error == EPERM) break;
    ASSERT_EQ(error, 0);
    ASSERT_NE(program.Receive(), "");
  }
  EXPECT_EQ(agent.Process().Descriptors(), before);
  ASSERT_EQ(program.Send(agent.Socket(), ""), 0);
  EXPECT_NE(program.Receive().find("request"), std::string::npos);
  // A name in the file system isn't answered, but what comes from it is taken.
  const LocalDatagrams named(agent.File("named"));
  ASSERT_EQ(named.Send(agent.Socket(), JsonText("a", "x")), 0);
  ASSERT_EQ(program.Send(agent.Socket(), JsonText("a", "x")), 0);
  EXPECT_NE(program.Receive().find(R"("sequence":)"), std::string::npos);
  EXPECT_EQ(named.Receive(std::chrono::milliseconds(0)), "");
}

TEST_F(AgentProgramTest, TakesThePlaceOfADeadAgentButNotOfALivingOne) {
  AgentProgram agent(kCid);
  agent.Start();
  ChildProcess second({GUESTD_PROGRAM, "--cid", std::to_string(kCid), agent.File("guestd.toml")});
  EXPECT_EQ(second.Wait(), 71);
  EXPECT_NE(second.Log().find("another agent listens on"), std::string::npos);
  agent.Kill();
  EXPECT_TRUE(std::filesystem::exists(agent.Socket()));
  agent.Start();
  EXPECT_EQ(LocalProgram(agent.Socket()).Emit("a", "x"), 0);
  struct stat status {};
  ASSERT_EQ(stat(agent.Socket().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0666U);
  agent.Process().Signal(SIGTERM);
  EXPECT_EQ(agent.Process().Wait(), 0);
  EXPECT_FALSE(std::filesystem::exists(agent.Socket()));
}

TEST_F(AgentProgramTest, WithoutADiskItGoesOnInMemoryAndTellsItOnce) {
  QuickHost daemon;
  AgentProgram agent(kCid, "[store]\npath = \"/proc/version/store.db\"\n");
  agent.Start();
  LocalProgram program(agent.Socket());
  for (int i = 0; i < 5; ++i) EXPECT_EQ(program.Emit("a", std::to_string(i)), 0);
  EXPECT_TRUE(daemon.Awaits(R"("topic":"a")", 5));
  EXPECT_EQ(agent.Process().Logged("/proc/version"), 1U);
}

// Of digits.
std::string Base64(const std::string& bytes) {
  return PayloadOf(GuestLink::PublicationText({"", "", "", "", bytes}, 0));
}

// What has been confirmed, in whatever instant the agent is killed, arrives; and under one number only.
TEST_F(AgentProgramTest, LosesNothingWhenItIsKilledAThousandTimes) {
  constexpr int kKills = SANITIZED ? 100 : 1000;
  QuickHost daemon;
  AgentProgram agent(kCid, kUnbounded);
  std::atomic<bool> stop{false};
  std::set<std::string> confirmed;
  std::thread emitter([&] {
    LocalProgram program(agent.Socket());
    for (int i = 0; !stop; ++i) {
      const auto payload = std::to_string(i);
      if (program.Emit("t" + std::to_string(i % 5), payload, false, 100) == 0) {
        confirmed.insert(Base64(payload));
      } else {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
      }
    }
  });
  const auto before = std::chrono::steady_clock::now();
  agent.Start();
  const auto start =
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - before);
  agent.Kill();
  // Some kills come during the start, most after it.
  std::uniform_int_distribution<std::int64_t> moments(0, start.count() * 3 / 2 + 20000);
  std::minstd_rand random(1);
  for (int i = 0; i < kKills; ++i) {
    agent.Start(false);
    std::this_thread::sleep_for(std::chrono::microseconds(moments(random)));
    agent.Kill();
  }
  stop = true;
  emitter.join();
  agent.Start();
  LocalProgram program(agent.Socket());
  // On a machine that is slow the store may be full by now.
  ASSERT_TRUE(Eventually([&] { return program.Emit("t0", "last") == 0; }, std::chrono::seconds(100)));
  std::map<std::string, std::set<std::uint64_t>> numbers;
  std::map<std::uint64_t, std::set<std::string>> contents;
  const auto hasAll = [&] {
    numbers.clear();
    contents.clear();
    for (const auto& text : daemon.Texts()) {
      const auto payload = PayloadOf(text);
      if (TopicOf(text)[0] != 't') continue;
      numbers[payload].insert(SequenceOf(text));
      contents[SequenceOf(text)].insert(payload);
    }
    return std::all_of(confirmed.begin(), confirmed.end(),
                       [&](const std::string& payload) { return numbers.count(payload) != 0; });
  };
  EXPECT_TRUE(Eventually(hasAll, std::chrono::seconds(100)));
  EXPECT_GT(confirmed.size(), static_cast<std::size_t>(kKills));
  for (const auto& [payload, its] : numbers) EXPECT_EQ(its.size(), 1U) << payload << " has several numbers";
  for (const auto& [number, its] : contents) EXPECT_EQ(its.size(), 1U) << number << " stands for several";
}

}  // namespace

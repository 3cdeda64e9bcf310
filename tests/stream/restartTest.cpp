#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "testing/childProcess.h"
#include "testing/daemon.h"
#include "testing/processFolder.h"
#include "testing/temporaryFolder.h"
#include "tests/stream/callerSupport.h"
#include "tests/stream/following.h"

namespace {

using namespace Testing;
using namespace std::chrono_literals;

// A daemon that can be started again with the ports that it had.
class LastingDaemon {
 public:
  LastingDaemon() : port_(FreePort()) {
    std::ofstream(Config()) << "<config><mirelPort>" << port_ << "</mirelPort><vmListenPort>" << kVmPort
                            << "</vmListenPort></config>";
    Start();
  }

  std::uint16_t port() const { return port_; }
  void Kill() { process_.reset(); }
  void Start() {
    process_.emplace(std::vector<std::string>{NORNHESPERD_PROGRAM, Config()},
                     std::vector<std::string>{"KRELL_HOST_DIR=" + SharedHost().Directory()});
    if (!process_->WaitForLog("Running IO service...")) throw std::runtime_error(process_->Log());
  }

  static constexpr std::uint32_t kVmPort = 7099;

 private:
  static std::string Config() { return ProcessFolder() + "/lasting-config"; }

  const std::uint16_t port_;
  std::optional<ChildProcess> process_;
};

// A program in a VM that publishes lines, and again when it's asked for the past.
class LineGuest {
 public:
  LineGuest(std::uint32_t cid, const std::string& topic) : vm_(cid) {
    const auto lines = folder_ / "lines";
    if (mkfifo(lines.c_str(), 0600) != 0) throw std::runtime_error("no pipe");
    process_.emplace(
        std::vector<std::string>{"/bin/sh", "-c",
                                 "exec " HESPER_PUBLISH_PROGRAM " --cid " + std::to_string(cid) + " --port " +
                                     std::to_string(LastingDaemon::kVmPort) + " --topic " + topic +
                                     " --timeout 0.5 --serve-history --lines < " + lines + " > " +
                                     folder_ / "answers"},
        std::vector<std::string>{"KRELL_HOST_DIR=" + SharedHost().Directory()});
    lines_.open(lines);
  }

  std::string Publish(const std::string& text) {
    lines_ << text << std::endl;
    return vm_.MgrVmId() + ' ' + text;
  }
  bool WaitForAnswers(std::size_t count) const {
    return Eventually([&] {
      const auto answers = ReadFile(folder_ / "answers");
      return static_cast<std::size_t>(std::count(answers.begin(), answers.end(), '}')) >= count;
    });
  }
  // What the daemon didn't take is kept as well.
  bool WaitForUnanswered(std::size_t count) const {
    return Eventually([&] { return process_->Logged("no answer to sequence") >= count; });
  }

 private:
  const TemporaryFolder folder_;
  const Vm vm_;
  std::optional<ChildProcess> process_;
  std::ofstream lines_;
};

TEST(RestartTest, LosesNothingAndGivesNothingTwice) {
  LastingDaemon daemon;
  LineGuest web(61, "a.web");
  LineGuest data(62, "a.data");
  Fleet::Wanted wanted;
  wanted.topics = {"a"};
  wanted.pastSeconds = 3600;
  Fleet::FollowSettings settings;
  settings.gathering = 300ms;
  std::vector<std::string> all{web.Publish("before"), data.Publish("before")};
  ASSERT_TRUE(web.WaitForAnswers(1));
  ASSERT_TRUE(data.WaitForAnswers(1));
  Following following(CallerOf(daemon.port()), wanted, settings);
  ASSERT_TRUE(following.WaitForTaken(2));
  all.push_back(web.Publish("live"));
  ASSERT_TRUE(following.WaitForTaken(3));

  for (std::size_t round = 1; round != 3; ++round) {
    daemon.Kill();
    ASSERT_TRUE(Eventually([&] { return following.Interrupted() >= round; }));
    const auto name = std::to_string(round);
    for (auto* guest : {&web, &data}) {
      all.push_back(guest->Publish("lost " + name));
      ASSERT_TRUE(guest->WaitForUnanswered(round));
    }
    daemon.Start();
    ASSERT_TRUE(following.WaitForOpen(round + 1));
    // Until now the daemon has heard of neither.
    for (auto* guest : {&web, &data}) all.push_back(guest->Publish("after " + name));
    ASSERT_TRUE(following.WaitForTaken(all.size())) << round;
  }
  following.Stop();
  auto taken = following.Taken();
  std::sort(taken.begin(), taken.end());
  std::sort(all.begin(), all.end());
  EXPECT_EQ(taken, all);
}

}  // namespace

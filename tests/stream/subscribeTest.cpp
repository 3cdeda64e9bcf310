#include <gtest/gtest.h>
#include <signal.h>

#include <cstddef>
#include <string>
#include <vector>

#include "fleet/subscribe/line.h"
#include "testing/childProcess.h"
#include "testing/temporaryFolder.h"
#include "tests/stream/callerSupport.h"
#include "tests/stream/daemonDouble.h"

namespace {

using namespace Testing;

// The program, whose standard output is a file.
class Program {
 public:
  Program(std::uint16_t port, const std::string& options)
      : process_({"/bin/sh", "-c",
                  "exec " HESPER_SUBSCRIBE_PROGRAM " --port " + std::to_string(port) + " --token-file " +
                      TokenFile() + " " + options + " > " + folder_ / "output"}) {}

  std::string Output() const { return ReadFile(folder_ / "output"); }
  ChildProcess* operator->() { return &process_; }

 private:
  const TemporaryFolder folder_;
  ChildProcess process_;
};

// What a terminal would act on, and what isn't UTF-8; as they are, and as JSON has them.
constexpr const char kHostile[] =
    "a\\u001b[2Jb\\u009bc\\u202ed\\u2066e\\u200ff\\u061cg\\u2028h\\u007fi\\r\\nj\xc3(";
constexpr const char kEscaped[] =
    "a\\u001B[2Jb\\u009bc\\u202ed\\u2066e\\u200ff\\u061cg\\u2028h\\u007fi\\r\\nj\xEF\xBF\xBD(";

std::string ElementOf(const std::string& topic, const std::string& payload, bool history = false) {
  return R"({"payload":")" + payload + R"(","topic":")" + topic +
         R"(","vm_id_type":"MGR_VM_ID","mgr_vm_id":"web 1","create_time":"2026-11-24T21:15:00Z","token":")" +
         topic + R"(","history":)" + (history ? "true" : "false") + "}";
}

void Give(const Call& call, const std::string& element) {
  call.Send(Frame(R"({"jsonrpc":"2.0","id":1,"result":)" + element + "}"));
}

bool IsTerminalSafe(const std::string& text) {
  for (const char* unsafe : {"\x1b", "\x7f", "\r", "\xc2\x9b", "\xe2\x80\xae", "\xe2\x81\xa6", "\xe2\x80\x8f",
                             "\xd8\x9c", "\xe2\x80\xa8", "\xc3("}) {
    if (text.find(unsafe) != std::string::npos) return false;
  }
  return true;
}

TEST(SubscribeTest, PrintsOneLineOfJsonForEach) {
  DaemonDouble daemon;
  Program program(daemon.port(), "--count 2 --vm-id-type bios --vm 'web\"1' --topic a --past 7");
  const auto call = daemon.Next();
  EXPECT_TRUE(call.Asks(R"("input":{"spec":{"vm_id_type":"BIOS_UUID","vm_filter":[{"bios_uuid":"web\"1"}],)"
                        R"("topic_prefixes":["a"],"past_seconds":7}}})"));
  Give(call, ElementOf(kHostile, "AA=="));
  Give(call, ElementOf("b\\/\\u00e9", ""));
  EXPECT_EQ(program->Wait(), 0);
  EXPECT_EQ(program.Output(), ElementOf(kEscaped, "AA==") + '\n' + ElementOf("b/\xc3\xa9", "") + '\n');
  EXPECT_TRUE(IsTerminalSafe(program.Output()));
}

TEST(SubscribeTest, PrintsTextForPeople) {
  DaemonDouble daemon;
  Program program(daemon.port(), "--count 4 --format text --since 2m");
  const auto call = daemon.Next();
  EXPECT_TRUE(call.Asks(R"("past_seconds":120)"));
  Give(call, ElementOf("a.b", "aMOpbGxvCg=="));
  Give(call, ElementOf("a (history) b", "G1syShtbMkrigK7CmwpiYWNr", true));
  Give(call, ElementOf(kHostile, "AAECAw=="));
  Give(call, ElementOf("c", std::string(400, '/')));
  EXPECT_EQ(program->Wait(), 0);
  const auto output = program.Output();
  const std::string begin = "2026-11-24T21:15:00Z web\\x201 ";
  EXPECT_TRUE(output.starts_with(begin + "a.b: h\xc3\xa9llo\n" + begin +
                                 "(history) a\\x20(history)\\x20b: \\x1b[2J\\x1b[2J\\u202e\\u009b\\nback\n" +
                                 begin + "a\\x1b[2Jb"))
      << output;
  EXPECT_NE(output.find(": (4 bytes) AAECAw==\n"), std::string::npos);
  EXPECT_TRUE(output.ends_with("c: (300 bytes) " + std::string(64, '/') + "...\n")) << output;
  EXPECT_TRUE(IsTerminalSafe(output));
}

TEST(SubscribeTest, NamesAFleetsHostAsTheReaderKnowsIt) {
  // Whoever may write for one host could claim to be another.
  const auto element =
      Fleet::ReadElement(R"({"host":"other","payload":"", "topic":"a","host":"third","mgr_vm_id":"w"})");
  EXPECT_EQ(Fleet::JsonLine(element, "h\"1"), R"({"payload":"","topic":"a","mgr_vm_id":"w","host":"h\"1"})");
  EXPECT_EQ(Fleet::TextLine(element, "h 1"), " h\\x201/w a: ");
}

TEST(SubscribeTest, EndsWithTheStreamUnlessItFollows) {
  DaemonDouble daemon;
  Program once(daemon.port(), "");
  Program following(daemon.port(), "--follow --count 2");
  for (int i = 0; i != 2; ++i) Give(daemon.Next(), ElementOf("a", "AA=="));
  EXPECT_EQ(once->Wait(), 1);
  EXPECT_TRUE(once->Logged("the daemon ended the stream")) << once->Log();
  const auto call = daemon.Next();
  EXPECT_TRUE(following->WaitForLog("ms\n"));
  Give(call, ElementOf("a", "AA==", true));
  Give(call, ElementOf("b", "AA=="));
  EXPECT_EQ(following->Wait(), 0);
  EXPECT_EQ(following.Output(), ElementOf("a", "AA==") + '\n' + ElementOf("b", "AA==") + '\n');
  EXPECT_EQ(following->Logged("hesper-subscribe: "), 2) << following->Log();
}

TEST(SubscribeTest, EndsInOrderAtASignal) {
  DaemonDouble daemon;
  for (const int signal : {SIGINT, SIGTERM}) {
    Program program(daemon.port(), "--follow");
    const auto call = daemon.Next();
    program->Signal(signal);
    EXPECT_EQ(program->Wait(), 0) << program->Log();
  }
}

TEST(SubscribeTest, RefusesAWrongCall) {
  for (const char* options :
       {"--since 1w", "--since 1h --past 7", "--format xml", "--host a", "--fleet nats://x --follow",
        "--fleet nats://x --tls-cert /dev/null", "--user root"}) {
    Program program(1, options);
    EXPECT_EQ(program->Wait(), 64) << options;
  }
  ChildProcess fleet({HESPER_SUBSCRIBE_PROGRAM, "--fleet", "nats://x", "--prefix", "a.>"});
  EXPECT_EQ(fleet.Wait(), 64);
  EXPECT_EQ(fleet.Logged("--prefix"), 1) << fleet.Log();
}

}  // namespace

#include "tools/host/qmpImport.h"

#include <gtest/gtest.h>

#include <boost/asio.hpp>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "testing/temporaryFolder.h"
#include "testing/testHost.h"
#include "tests/host/registryProgram.h"

namespace {

namespace asio = boost::asio;
using Unix = asio::local::stream_protocol;

// A QEMU's QMP socket: greets, and answers a command by the first pair of which it holds the first text. An
// answer that is to go on for ever ends with "...".
class Qemu {
 public:
  using Script = std::vector<std::pair<std::string, std::string>>;

  explicit Qemu(Script script) : script_(std::move(script)), thread_([this] { Serve(); }) {}
  Qemu(const Qemu&) = delete;
  Qemu& operator=(const Qemu&) = delete;
  ~Qemu() {
    // One that nobody asked still waits for its caller.
    boost::system::error_code ignored;
    Unix::socket(io_).connect(Unix::endpoint(Path()), ignored);
    thread_.join();
  }

  std::string Path() const { return folder_ / "qmp"; }

  // What is wrong with the VM.
  std::string Fault() const {
    try {
      Tools::AskQemu(Path());
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

 private:
  void Serve() try {
    Unix::socket peer = acceptor_.accept();
    std::string read;
    for (std::string command = "greeting";;) {
      Answer(peer, command);
      const auto size = asio::read_until(peer, asio::dynamic_buffer(read), '\n');
      command = read.substr(0, size);
      read.erase(0, size);
    }
  } catch (const boost::system::system_error&) {
    // The caller has gone.
  }

  void Answer(Unix::socket& peer, const std::string& command) {
    for (const auto& [part, answer] : script_) {
      if (command.find(part) == std::string::npos) continue;
      if (!answer.ends_with("...")) {
        asio::write(peer, asio::buffer(answer + "\r\n"));
        return;
      }
      std::string much;
      for (int i = 0; i < 1000; ++i) much.append(answer, 0, answer.size() - 3);
      do {
        asio::write(peer, asio::buffer(much));
      } while (!much.empty());
      return;
    }
  }

  const Testing::TemporaryFolder folder_;
  const Script script_;
  asio::io_context io_;
  Unix::acceptor acceptor_{io_, Unix::endpoint(Path())};
  std::thread thread_;
};

const std::string kUuid = "3f1c7c52-6a2f-4c39-9a53-0d3f8a1f0b11";
const std::string kEvent =
    "{\"timestamp\": {\"seconds\": 1, \"microseconds\": 2}, \"event\": \"RTC_CHANGE\"}\r\n";

// What QEMU 7.2 answers; the pairs given come first.
Qemu::Script Good(Qemu::Script before = {}) {
  before.insert(
      before.end(),
      {{"greeting",
        R"({"QMP": {"version": {"qemu": {"micro": 9, "minor": 2, "major": 7}}, "capabilities": ["oob"]}})"},
       {"qmp_capabilities", R"({"return": {}})"},
       {"query-uuid", R"({"return": {"UUID": ")" + kUuid + "\"}}"},
       {"query-name", R"({"return": {"name": "web-1"}})"},
       {"/machine/peripheral\"", R"({"return": [{"name": "type", "type": "string"}]})"},
       {"/machine/peripheral-anon\"",
        R"({"return": [{"name": "device[0]", "type": "child<virtio-net-pci>"}, )"
        R"({"name": "device[1]", "type": "child<vhost-vsock-pci>"}]})"},
       {"/machine/peripheral-anon/device[1]", R"({"return": 9})"}});
  return before;
}

TEST(QmpImportTest, AVmIsWhatItsQemuSays) {
  Testing::TestHost host;
  const Qemu good(Good());
  const auto outcome = Testing::RunRegistry({"import", "--qmp", good.Path()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "9\n");
  EXPECT_EQ(host->FindByCid(9)->identity, (Krell::VmIdentity{9, kUuid, kUuid, "web-1", true}));

  const Qemu nameless(Good({{"query-name", R"({"return": {}})"}}));
  EXPECT_EQ(Tools::AskQemu(nameless.Path()).mgrVmId, kUuid);
  const Qemu named(
      Good({{"/machine/peripheral\"", R"({"return": [{"name": "v", "type": "child<vhost-vsock-pci>"}]})"},
            {"/machine/peripheral/v\"", R"({"return": 10})"}}));
  EXPECT_EQ(Tools::AskQemu(named.Path()).cid, 10U);
  const Qemu busy(Good({{"greeting", R"({"QMP": {}})"
                                     "\r\n" +
                                         kEvent + R"({"event": "RESUME"})"},
                        {"query-uuid", kEvent +
                                           R"({"return": {"UUID": "u"}})"
                                           "\n" +
                                           R"({"event": "STOP"})"}}));
  EXPECT_EQ(Tools::AskQemu(busy.Path()).biosUuid, "u");
}

TEST(QmpImportTest, TellsWhatIsMissing) {
  const std::string deep(500'000, '[');
  const std::vector<std::pair<std::string, Qemu::Script>> cases = {
      {"the VM has no uuid",
       {{"query-uuid", R"({"return": {"UUID": "00000000-0000-0000-0000-000000000000"}})"}}},
      {"the VM has no uuid", {{"query-uuid", R"({"return": []})"}}},
      {"the VM has no vsock", {{"peripheral-anon", R"({"return": []})"}}},
      {"the VM has no vsock", {{"peripheral", R"({"return": {"name": 1}})"}}},
      {"the VM has no vsock", {{"peripheral", R"({"return": [1, "a", {}, {"type": 1}]})"}}},
      {"the VM's vsock has no cid", {{"qom-get", R"({"return": "9"})"}}},
      {"the VM's vsock has no cid", {{"qom-get", R"({"return": 4294967296})"}}},
      {"QEMU refuses", {{"qom-list", R"({"error": {"class": "GenericError", "desc": "no"}})"}}},
      {"QEMU refuses", {{"qmp_cap", R"({"error": {"class": "CommandNotFound", "desc": "no"}})"}}},
      {"QEMU's answer is no JSON", {{"query-uuid", "return"}}},
      {"QEMU's answer is no JSON", {{"greeting", "[]"}}},
      {"QEMU's answer is no JSON", {{"greeting", "SSH-2.0-OpenSSH_9.2"}}},
      {"QEMU's answer is no JSON", {{"query-uuid", deep}}},
      {"the VM has no uuid", {{"query-uuid", R"({"return": )" + deep + std::string(deep.size(), ']') + "}"}}},
      {"QEMU does not answer", {{"greeting", "{\"a\":..."}}},
  };
  for (const auto& [fault, script] : cases) EXPECT_EQ(Qemu(Good(script)).Fault().find(fault), 0U) << fault;
  EXPECT_THROW(Tools::AskQemu("/proc/none"), std::runtime_error);
  EXPECT_THROW(Tools::AskQemu("/" + std::string(108, 'p')), std::runtime_error);

  Testing::TestHost host;
  const auto outcome = Testing::RunRegistry({"import", "--qmp", Qemu(Good({{"query-uuid", "[]"}})).Path()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(host->List().empty());
}

TEST(QmpImportTest, WaitsFiveSecondsInAll) {
  const auto start = std::chrono::steady_clock::now();
  const Qemu silent(Qemu::Script{{"greeting", "..."}});
  const Qemu talking(Good({{"query-uuid", kEvent + "..."}}));
  std::string fault;
  std::thread other([&] { fault = silent.Fault(); });
  EXPECT_EQ(talking.Fault(), "QEMU does not answer");
  other.join();
  EXPECT_EQ(fault, "QEMU does not answer");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
}

}  // namespace

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/krell/standin/descriptor.h"
#include "platform/krell/standin/endpointQueue.h"
#include "platform/krell/standin/traffic.h"
#include "testing/testHost.h"
#include "tests/host/registryProgram.h"

namespace {

using Testing::Outcome;
using Testing::RunRegistry;

constexpr int kWrongCall = 64;

Outcome Add(const std::string& name, const std::vector<std::string>& more) {
  std::vector<std::string> arguments{"add", "--bios-uuid", name, "--vm-uuid", name, "--mgr-vm-id", name};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunRegistry(arguments);
}

// The words of each line after the first one.
std::vector<std::vector<std::string>> List() {
  std::istringstream lines(RunRegistry({"list"}).output);
  std::vector<std::vector<std::string>> table;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    table.emplace_back(std::istream_iterator<std::string>(words), std::istream_iterator<std::string>());
  }
  EXPECT_FALSE(table.empty());
  table.erase(table.begin());
  return table;
}

// Answers one caller as whoever carries the VMs' packets.
class Carrier {
 public:
  Carrier(Testing::TestHost& host, const std::string& lines)
      : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const Krell::EndpointAddress address(host->DirectoryDescriptor(), Krell::kTrafficSocket);
    EXPECT_EQ(bind(socket_.Get(), reinterpret_cast<const sockaddr*>(address.bytes), address.length), 0);
    EXPECT_EQ(listen(socket_.Get(), 1), 0);
    thread_ = std::thread([this, lines] {
      const Krell::Descriptor peer(accept(socket_.Get(), nullptr, nullptr));
      send(peer.Get(), lines.data(), lines.size(), MSG_NOSIGNAL);
    });
  }
  ~Carrier() {
    shutdown(socket_.Get(), SHUT_RDWR);
    thread_.join();
  }

 private:
  const Krell::Descriptor socket_;
  std::thread thread_;
};

TEST(CommandTest, AddTellsTheCidThatItAllots) {
  Testing::TestHost host;
  EXPECT_EQ(Add("a", {"--cid", "5"}).output, "");
  const auto second = Add("b", {"--hybrid", "/run/b"});
  EXPECT_EQ(second.status, 0);
  const auto third = Add("c", {"--serial", "/run/c p,/run/c h"});
  const auto b = host->FindByBiosUuid("b")->identity;
  const auto c = host->FindByBiosUuid("c")->identity;
  EXPECT_EQ(second.output, std::to_string(b.cid) + "\n");
  EXPECT_EQ(third.output, std::to_string(c.cid) + "\n");
  EXPECT_GE(std::min(b.cid, c.cid), 1U << 30) << "no VMM chooses these by itself";
  EXPECT_EQ(b.transport, (Krell::VmTransport{Krell::VmTransport::Kind::Hybrid, "/run/b"}));
  EXPECT_EQ(c.transport, (Krell::VmTransport{Krell::VmTransport::Kind::Serial, "/run/c p", "/run/c h"}));
  EXPECT_TRUE(!b.privileged && c.privileged);
  Add("d", {"--hybrid", "/run/d", "--privileged", "--cid", "77"});
  EXPECT_TRUE(host->FindByCid(77)->identity.privileged);

  EXPECT_EQ(RunRegistry({"remove", "--cid", std::to_string(b.cid)}).status, 0);
  const auto again = Add("b", {"--hybrid", "/run/b"});
  EXPECT_NE(again.output, second.output) << "a cid that was allotted is nobody else's";
}

TEST(CommandTest, RefusesWaysThatLeadNowhere) {
  Testing::TestHost host;
  const std::string longest = "/" + std::string(106, 'p');
  const std::vector<std::pair<int, std::vector<std::string>>> wrong = {
      {kWrongCall, {}},
      {kWrongCall, {"--cid", "2"}},
      {kWrongCall, {"--cid", "4294967295"}},
      {1, {"--hybrid", "run/b"}},
      {1, {"--hybrid", longest}},
      {1, {"--hybrid", "/a\nb"}},
      {kWrongCall, {"--serial", "/run/p"}},
      {kWrongCall, {"--serial", "/run/p,/run/h,/run/x"}},
      {1, {"--serial", "/run/p,run/h"}},
      {1, {"--serial", ",/run/h"}},
      {1, {"--serial", "/run/p," + longest + "p"}},
      {kWrongCall, {"--serial", "/run/p,/run/h", "--hybrid", "/run/b"}},
      {kWrongCall, {"--serial", "/run/p,/run/h", "--privileged"}},
      {kWrongCall, {"--hybrid", "/run/b", "--privileged", "--unprivileged"}},
  };
  for (const auto& [status, arguments] : wrong) {
    const auto outcome = Add("a", arguments);
    const auto about = arguments.empty() ? std::string() : arguments.back();
    EXPECT_EQ(outcome.status, status) << about;
    EXPECT_EQ(outcome.output, "") << about;
    EXPECT_EQ(outcome.errors.find("hesper-host: "), 0U) << about;
    EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << about;
  }
  EXPECT_TRUE(host->List().empty());
  EXPECT_EQ(Add("a", {"--serial", "/run/p," + longest}).status, 0);
  EXPECT_EQ(host->List().at(0).identity.transport.historyPath, longest);
}

TEST(CommandTest, ListShowsTheWayAndTheTrafficOfEachVm) {
  Testing::TestHost host;
  Add("a", {"--cid", "5"});
  Add("b", {"--cid", "6", "--hybrid", "/run/b"});
  Add("c", {"--cid", "7", "--serial", "/run/p,/run/h", "--unprivileged"});
  const auto line = [&](std::uint32_t cid, std::uint32_t ahead, std::size_t connections, auto time) {
    return Krell::TrafficLine(cid, {host->FindByCid(cid)->cartelId + ahead, connections, time});
  };
  using Time = std::optional<std::chrono::system_clock::time_point>;
  // What is told of cid 7 is about the VM that had it before.
  const Carrier carrier(host, line(5, 0, 16, Time(std::chrono::milliseconds(1'795'633'496'789))) +
                                  line(6, 0, 0, Time()) + "no line\n" + line(7, 2, 3, Time()));
  const auto vms = List();
  ASSERT_EQ(vms.size(), 3U);
  const auto idsOf = [&](std::uint32_t cid) {
    const auto vm = *host->FindByCid(cid);
    return std::vector{std::to_string(cid), std::to_string(vm.cartelId), std::to_string(vm.leaderId)};
  };
  const auto expect = [&](std::size_t at, std::uint32_t cid, const std::vector<std::string>& more) {
    auto words = idsOf(cid);
    words.insert(words.end(), more.begin(), more.end());
    EXPECT_EQ(vms[at], words);
  };
  expect(0, 5, {"yes", "16", "2026-11-25T19:04:56Z", "a", "a", "a", "vsock"});
  expect(1, 6, {"no", "0", "-", "b", "b", "b", "hybrid:/run/b"});
  expect(2, 7, {"no", "-", "-", "c", "c", "c", "serial:/run/p,/run/h"});
}

}  // namespace

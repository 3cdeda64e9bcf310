#include "fleet/stream/call.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "testing/daemon.h"
#include "testing/eventually.h"
#include "tests/stream/callerSupport.h"
#include "tests/stream/daemonDouble.h"
#include "tests/stream/listenerDouble.h"

namespace {

using namespace Testing;
using Fleet::CallFault;
using Kind = CallFault::Kind;

// Ends at the first element.
std::optional<Fleet::Element> First(const Fleet::Caller& caller, const Fleet::Wanted& wanted = {}) {
  std::optional<Fleet::Element> first;
  Fleet::Subscribe(
      caller, wanted, {}, [] {},
      [&](Fleet::Element&& element) {
        first = std::move(element);
        return false;
      });
  return first;
}

std::pair<Kind, std::string> FirstFault(const Fleet::Caller& caller) {
  return FaultOf([&] { First(caller); });
}

std::string Http(const std::string& body, const std::string& status = "200 OK") {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// A process of the user nobody that takes one call, and tells what it is sent first.
class StrangersServer {
 public:
  StrangersServer() {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    pid_ = fork();
    if (pid_ == 0) Serve(ends[1]);
    close(ends[1]);
    heard_ = Corvane::FileDescriptor(ends[0]);
    // Without a socket of its own user's, it says nothing.
    if (read(heard_.Get(), &port_, sizeof port_) != sizeof port_) throw std::runtime_error("no server");
  }
  StrangersServer(const StrangersServer&) = delete;
  StrangersServer& operator=(const StrangersServer&) = delete;
  ~StrangersServer() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

  std::uint16_t port() const { return port_; }
  // Nothing if the caller closed without a word.
  std::string Heard() const {
    std::string text;
    char part[4096];
    for (ssize_t size = 0; (size = read(heard_.Get(), part, sizeof part)) > 0;) {
      text.append(part, static_cast<std::size_t>(size));
    }
    return text;
  }

 private:
  [[noreturn]] static void Serve(int output) {
    constexpr uid_t kNobody = 65534;
    if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(1);
    const ListeningPort listening;
    const auto port = listening.number();
    if (write(output, &port, sizeof port) != sizeof port) _exit(1);
    const auto connection = listening.Accept();
    char part[4096];
    const ssize_t size = recv(connection.Get(), part, sizeof part, 0);
    if (size > 0 && write(output, part, static_cast<std::size_t>(size)) != size) _exit(1);
    _exit(0);
  }

  pid_t pid_ = -1;
  std::uint16_t port_ = 0;
  Corvane::FileDescriptor heard_;
};

TEST(CallTest, GivesEachElementUntilAStop) {
  Daemon daemon({.settings = "<requestHistoryAll>true</requestHistoryAll>"});
  Vm vm(21);
  constexpr std::uint32_t kHistoryPort = 766;
  Krell::GuestSocket asked(vm.cid(), kHistoryPort);
  Krell::GuestSocket guest(vm.cid());
  Vm other(22);
  Krell::GuestSocket unwanted(other.cid());
  Fleet::Wanted wanted;
  wanted.vmIdType = "bios";
  wanted.vms = {vm.BiosUuid()};
  wanted.topics = {"a"};
  wanted.pastSeconds = 77;
  std::atomic<bool> open = false;
  std::vector<Fleet::Element> elements;
  std::atomic<std::size_t> count = 0;
  std::jthread subscriber([&](const std::stop_token& stop) {
    Fleet::Subscribe(
        CallerOf(daemon.port()), wanted, stop, [&] { open = true; },
        [&](Fleet::Element&& element) {
          elements.push_back(std::move(element));
          ++count;
          return true;
        });
  });
  const auto request = asked.Receive(kEventually);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->text, R"({ "pastSeconds": 77, "id": 0, "topicPrefixes": [ "a" ] })");
  EXPECT_TRUE(Eventually([&] { return open.load(); }));
  Publish(guest, daemon, PublicationText(1, "a.x", "aGk="));
  Publish(unwanted, daemon, PublicationText(2, "a.x", "aGk="));
  Publish(guest, daemon, PublicationText(3, "a", "", R"(,"subscribers":[0])"));
  ASSERT_TRUE(Eventually([&] { return count == 2; }));
  subscriber.request_stop();
  subscriber.join();
  EXPECT_EQ(elements[0].vm, vm.BiosUuid());
  EXPECT_EQ(elements[0].topic, "a.x");
  EXPECT_EQ(elements[0].payload, "hi");
  EXPECT_FALSE(elements[0].history);
  EXPECT_TRUE(elements[1].history);
}

TEST(CallTest, TellsARefusalFromAnInterruption) {
  EXPECT_EQ(FirstFault(CallerOf(FreePort())).first, Kind::Interrupted);
  std::optional<Daemon> daemon(std::in_place);
  auto caller = CallerOf(daemon->port());
  caller.tokenFile = ProcessFolder() + "/no-token";
  EXPECT_EQ(FirstFault(caller).first, Kind::Refused);
  std::ofstream(caller.tokenFile) << "some.other.token";
  const auto refused = FirstFault(caller);
  EXPECT_EQ(refused.first, Kind::Refused);
  EXPECT_NE(refused.second.find("nauthenticated"), std::string::npos) << refused.second;
  // A second line of a token would be a header of the request.
  std::ofstream(caller.tokenFile) << "token with blank";
  EXPECT_EQ(FirstFault(caller).second, "the token is not one");
  EXPECT_EQ(FaultOf([&] { Fleet::FetchStats(caller, "x\r\nOrigin: y"); }).second, "the token is not one");

  std::atomic<bool> open = false;
  std::pair<Kind, std::string> fault;
  std::thread subscriber([&, port = daemon->port()] {
    fault = FaultOf([&] {
      Fleet::Subscribe(
          CallerOf(port), {}, {}, [&] { open = true; }, [](Fleet::Element&&) { return true; });
    });
  });
  EXPECT_TRUE(Eventually([&] { return open.load(); }));
  daemon.reset();
  subscriber.join();
  EXPECT_EQ(fault.first, Kind::Interrupted) << fault.second;
}

TEST(CallTest, GetsTheDaemonsNumbersAsWhoeverAsks) {
  const Daemon daemon;
  const auto caller = CallerOf(daemon.port());
  const auto stats = Fleet::FetchStats(caller);
  EXPECT_EQ(stats.front(), '{');
  EXPECT_NE(stats.find(R"("publications":{)"), std::string::npos) << stats;
  const auto refused = FaultOf([&] { Fleet::FetchStats(caller, "some.other.token"); });
  EXPECT_EQ(refused.first, Kind::Refused);
  EXPECT_NE(refused.second.find("nauthenticated"), std::string::npos) << refused.second;
}

TEST(CallTest, SendsNothingToAStrangersListener) {
  if (geteuid() != 0) GTEST_SKIP() << "needs to be root to have another user's process";
  StrangersServer server;
  const auto fault = FirstFault(CallerOf(server.port()));
  EXPECT_EQ(fault.first, Kind::Interrupted);
  EXPECT_NE(fault.second.find("user 65534"), std::string::npos) << fault.second;
  EXPECT_EQ(server.Heard(), "");
}

TEST(CallTest, EndsAtAStopWhileNobodyAccepts) {
  const ListeningPort listening;
  std::stop_source stop;
  std::thread subscriber([&] {
    Fleet::Subscribe(
        CallerOf(listening.number()), {}, stop.get_token(), [] {}, [](Fleet::Element&&) { return true; });
  });
  EXPECT_TRUE(Eventually([&] { return listening.HasConnection(); }));
  stop.request_stop();
  subscriber.join();
  const auto connection = listening.Accept();
  char byte = 0;
  EXPECT_EQ(recv(connection.Get(), &byte, 1, 0), 0);
}

TEST(CallTest, BoundsAHostileAnswer) {
  constexpr std::size_t kAllThatFitsOnTheWay = 64U << 20;
  struct Case {
    std::string answer;
    std::string endless;
  };
  for (const auto& [answer, endless] :
       {Case{std::string(kHead), std::string(4096, '1')}, Case{std::string(kHead) + "1000001\r\n", "{"},
        Case{std::string(kHead) + "1000000\r\n", std::string(1 << 20, '{')},
        Case{"HTTP/1.1 200 OK\r\n", "X: " + std::string(4000, 'y') + "\r\n"},
        Case{"HTTP/1.1 503 Away\r\n\r\n", std::string(4096, 'x')}, Case{Http(Frame("[]")), ""},
        Case{Http(Frame("{}")), ""}, Case{Http(Frame(R"({"result":{}})")), ""},
        Case{Http("{\"error\":\"x\"}"), ""}, Case{Http("bad", "400 Bad Request"), ""},
        Case{"SSH-2.0-x\r\n", ""}}) {
    AnsweringServer server(answer, endless);
    const auto fault = FirstFault(CallerOf(server.port()));
    EXPECT_EQ(fault.first, Kind::Refused) << answer.substr(0, 60) << fault.second;
    EXPECT_LE(fault.second.size(), 2000);
    EXPECT_LE(server.Repeated(), kAllThatFitsOnTheWay);
  }
  AnsweringServer stats(std::string(kHead), std::string(1 << 16, ' '));
  EXPECT_EQ(FaultOf([&] { Fleet::FetchStats(CallerOf(stats.port())); }).first, Kind::Refused);
  EXPECT_LE(stats.Repeated(), kAllThatFitsOnTheWay);
}

TEST(CallTest, GivesTheDaemonsOwnWords) {
  AnsweringServer server(Http(Frame(R"({"id":1,"error":{"message":"not \u001b[2Jtoday"}})")));
  EXPECT_EQ(FirstFault(CallerOf(server.port())).second, "not \x1b[2Jtoday");
  AnsweringServer http(Http("go away", "400 Bad Request"));
  EXPECT_EQ(FirstFault(CallerOf(http.port())).second,
            "the daemon has answered with HTTP status 400: go away");
  AnsweringServer cut(std::string(kHead) + "30\r\n{");
  EXPECT_EQ(FirstFault(CallerOf(cut.port())).first, Kind::Interrupted);
  AnsweringServer stats(Http(R"({"id":1,"result":{"a":{"b":7}}})"));
  EXPECT_EQ(Fleet::FetchStats(CallerOf(stats.port())), R"({"a":{"b":7}})");
}

}  // namespace

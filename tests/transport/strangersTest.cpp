// What those may cost others who have shown no credentials, or have gone.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "framework/transport/connection/acceptOutcome.h"
#include "framework/transport/connection/connectionTable.h"
#include "framework/transport/connection/descriptorsLeft.h"
#include "framework/transport/request/bodyBudget.h"
#include "framework/transport/request/localCaller.h"
#include "tests/transport/testServer.h"

namespace Mirel::Transport {
namespace {

using Asio::ConnectionTable;
using Asio::Stage;
using Http::BodyBudget;

constexpr const char* kCredentials = "Authorization: Bearer x\r\n";

std::string HeadOfBody(std::size_t size, const std::string& headers = "") {
  return "POST / HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(size) +
         "\r\n" + headers + "\r\n";
}

// The call, with blanks after it up to the size.
std::string PaddedCall(std::size_t size) {
  const std::string call = kJsonCall;
  return call + std::string(size - call.size(), ' ');
}

// Answers each call with a stream that is idle; the call is somebody's if it says so.
struct IdleStreams {
  explicit IdleStreams(TestServer& server) {
    server.provider->script = [this](const Call& call) {
      if (authenticated) call.activation->authData(Data::StructValue::GetInstance("somebody"));
      open.push_back(call.result);
    };
  }
  bool authenticated = true;
  std::vector<Core::AsyncApiResultCb> open;
};

// The limit of open files, for as long as the object lives.
class FileLimit {
 public:
  explicit FileLimit(rlim_t files) {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit lower{files, before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &lower);
  }
  ~FileLimit() { ::setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

TEST(StrangersTest, LeaveDescriptorsAndLoseTheirConnectionsOldestFirst) {
  if (SANITIZED) GTEST_SKIP() << "the sanitizer's own checks need descriptors";
  constexpr std::size_t kReserve = 64;
  TestServer server;
  IdleStreams streams(server);
  Client subscriber(server);
  subscriber.Send(Request());
  ASSERT_TRUE(server.RunUntil([&] { return streams.open.size() == 1; }));
  Client inBody(server);
  inBody.Send(HeadOfBody(50) + "{");
  server.Settle();
  const FileLimit limit(512);
  std::vector<std::unique_ptr<Client>> crowd;
  while (crowd.size() < 300) {
    crowd.push_back(std::make_unique<Client>(server));
    if (crowd.size() % 2 == 0) crowd.back()->Send("POST / HT");
    server.Settle();
    ASSERT_GE(Asio::DescriptorsLeft(), kReserve) << crowd.size();
  }
  EXPECT_EQ(server.logger->Lines("3 Few descriptors left").size(), 1U) << "one state, one line";
  EXPECT_EQ(crowd.front()->ReadToEnd(), "") << "the oldest is closed, without an answer";
  Client late(server);
  late.Send(Request());
  ASSERT_TRUE(server.RunUntil([&] { return streams.open.size() == 2; })) << "a new call gets in";
  inBody.Send(std::string(49, ' '));
  EXPECT_TRUE(inBody.ReadHead().starts_with("HTTP/1.1 200 OK")) << "a body on its way is closed later";
  streams.open.front()(Core::MethodResult::GetInstance(Data::DataValue::Create("here")), {}, nullptr);
  EXPECT_NE(subscriber.ReadAnswer().find("here"), std::string::npos);
}

TEST(StrangersTest, MakeTheServerPauseOnlyWhereAllConnectionsServe) {
  std::vector<int> closed;
  const auto table = std::make_shared<ConnectionTable>();
  std::vector<std::unique_ptr<ConnectionTable::Slot>> slots;
  for (int i = 0; i < 5; ++i) {
    slots.push_back(std::make_unique<ConnectionTable::Slot>());
    slots.back()->Join(table, [&closed, i] { closed.push_back(i); });
    if (i < 4) slots.back()->Enter(Stage::AwaitsHead);
  }
  slots[0]->Enter(Stage::AwaitsBody);
  slots[1]->Enter(Stage::AnswersStranger);
  slots[2]->Enter(Stage::Serves);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(table->CloseOne());
  EXPECT_FALSE(table->CloseOne()) << "one serves, and one has not begun";
  EXPECT_EQ(closed, (std::vector<int>{3, 0, 1}));
  slots[0]->Enter(Stage::AwaitsHead);
  slots.erase(slots.begin(), slots.begin() + 2);
  EXPECT_FALSE(table->CloseOne()) << "what is closed isn't closed again";
  EXPECT_EQ(table->GetCounts().current, 3U);
  EXPECT_EQ(table->GetCounts().accepted, 5U);
}

TEST(StrangersTest, GiveTheirDescriptorBackWhenTheyHaveGone) {
  PicoHttp::ServerConfig config;
  config.keepAlive = {std::chrono::seconds(1), std::chrono::seconds(1), 1};
  TestServer server(config);
  IdleStreams streams(server);
  auto leaver = std::make_unique<Client>(server);
  leaver->Send(Request());
  Client listener(server);
  listener.Send(Request());
  ASSERT_TRUE(server.RunUntil([&] { return streams.open.size() == 2; }));
  listener.FinishSending();
  const auto before = Asio::DescriptorsLeft();
  leaver->LeaveNothingBehind();
  leaver.reset();
  // Its own end, and the server's after the first probe.
  ASSERT_TRUE(server.RunUntil([&] { return Asio::DescriptorsLeft() == before + 2; }));
  bool wanted = true;
  const auto value = Core::MethodResult::GetInstance(Data::DataValue::Create("element"));
  streams.open[0](value, {}, [&](const auto& next) { wanted = next != nullptr; });
  ASSERT_TRUE(server.RunUntil([&] { return !wanted; })) << "the stream learns it from its next element";
  streams.open[1](value, {}, nullptr);
  EXPECT_NE(listener.ReadAnswer().find("element"), std::string::npos) << "who only listens has not gone";
}

TEST(StrangersTest, WaitUnreadForTheMemoryOfOtherBodies) {
  PicoHttp::ServerConfig config;
  config.bodyBudgetInBytes = 200000;
  TestServer server(config);
  Client holder(server);
  holder.Send(HeadOfBody(40000) + "{");
  server.Settle();
  Client waiting(server);
  waiting.Send(HeadOfBody(40000) + PaddedCall(40000));
  Client small(server);
  small.Send(HeadOfBody(2000) + PaddedCall(2000));
  EXPECT_NE(small.ReadAnswer().find("ok"), std::string::npos) << "a usual call waits for nobody";
  Client known(server);
  known.Send(HeadOfBody(60000, kCredentials) + PaddedCall(60000));
  EXPECT_NE(known.ReadAnswer().find("ok"), std::string::npos) << "nor do those with credentials";
  EXPECT_EQ(server.logger->Lines("0 RequestReadCb[").size(), 2U);
  holder.Close();
  EXPECT_NE(waiting.ReadAnswer().find("ok"), std::string::npos);
}

TEST(StrangersTest, LoseTheBodyThatTricklesInWhileOthersWait) {
  boost::asio::io_context io;
  const auto budget = BodyBudget::Make(io.get_executor(), 200, std::chrono::milliseconds(1));
  std::vector<BodyBudget::SharePtr> shares;
  std::vector<int> givenUp;
  const auto claim = [&](int number) {
    budget->AsyncClaim({50, false, [&, number] { givenUp.push_back(number); }},
                       [&](const auto& share) { shares.push_back(share); });
    io.restart();
    io.run();
  };
  claim(0);
  claim(1);
  EXPECT_EQ(shares.size(), 1U);
  EXPECT_EQ(givenUp, std::vector<int>{0});
  shares.clear();
  io.restart();
  io.run();
  ASSERT_EQ(shares.size(), 1U) << "the next one has its turn";
  shares.front()->Complete();
  claim(2);
  EXPECT_EQ(givenUp, std::vector<int>{0}) << "a body that is whole is waited for";
}

TEST(StrangersTest, InABrowserCallNothing) {
  TestServer server;
  for (const char* headers : {"Origin: http://127.0.0.1\r\n", "Origin: null\r\n",
                              "Host: evil.example:9999\r\n", "Host: localhost\r\nHost: evil.example\r\n"}) {
    Client client(server);
    client.Send(Request(headers));
    EXPECT_EQ(client.ReadToEnd(), kBadBody) << headers;
  }
  EXPECT_EQ(server.logger->Lines("1 Request is considered as bad").size(), 4U);
  for (const char* host :
       {"localhost", "LOCALHOST:80", "127.0.0.1:9999", "127.8.8.8", "[::1]", "[::1]:9999"}) {
    EXPECT_TRUE(Http::IsLoopbackHost(host)) << host;
  }
  for (const char* host :
       {"", "localhost.evil.example", "127.0.0.1.evil.example", "localhost:9999:1", "a@127.0.0.1", "[::1",
        "::1", "[::2]:9999", "128.0.0.1", "0.0.0.0", "localhost:x"}) {
    EXPECT_FALSE(Http::IsLoopbackHost(host)) << host;
  }
}

TEST(StrangersTest, AreNotAnsweredTwiceForOneChunkedBody) {
  TestServer server;
  const std::string call = kJsonCall;
  const std::string head =
      "POST / HTTP/1.1\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n";
  Client client(server);
  client.Send(head + "36\r\n" + call + "\r\n");
  server.Settle();
  // A read that holds only a part of a chunk's size ends the body.
  client.Send("9");
  EXPECT_NE(client.ReadAnswer().find("ok"), std::string::npos);
  client.Send("9\r\n" + Request());
  EXPECT_EQ(client.ReadToEnd(), "");
  Client empty(server);
  empty.Send(head + "3");
  EXPECT_EQ(empty.ReadToEnd(), "") << "a body that ends before its first byte is handled without an answer";
}

TEST(AcceptOutcomeTest, DelaysForThisProcessesDescriptorsAlone) {
  const auto of = [](int code) {
    return Asio::AcceptOutcome::Of({code, boost::system::system_category()}).flags;
  };
  EXPECT_EQ(of(EMFILE), Asio::AcceptOutcome::kDelayAcceptError);
  for (const int code : {ENFILE, ENOMEM, ECONNABORTED}) {
    EXPECT_EQ(of(code), Asio::AcceptOutcome::kTerminalAcceptError);
  }
  EXPECT_EQ(of(0), 0U);
}

}  // namespace
}  // namespace Mirel::Transport

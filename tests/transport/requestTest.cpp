#include <gtest/gtest.h>

#include <string>

#include "tests/transport/testServer.h"

namespace Mirel::Transport {
namespace {

bool IsOk(const std::string& answer) {
  return answer.starts_with("HTTP/1.1 200 OK\r\n") && answer.find("ok") != std::string::npos;
}

TEST(RequestTest, IsServedOneAfterTheOtherOnAConnection) {
  TestServer server;
  int calls = 0;
  server.provider->script = [&](const Call& call) {
    call.result(Core::MethodResult::GetInstance(Data::DataValue::Create("ok" + std::to_string(++calls))), {},
                nullptr);
  };
  const std::string body = kJsonCall;
  const std::string chunked =
      "POST / HTTP/1.1\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n3\r\n" +
      body.substr(0, 3) + "\r\n" + "33;e=1\r\n" + body.substr(3) + "\r\n0\r\nT: x\r\n\r\n";
  ASSERT_EQ(body.size() - 3, 0x33U);
  // Chunked bodies are read with what follows them, and give it back: enough of it to fill several heads.
  const std::string expecting = Request("Expect: 100-Continue\r\n");
  std::string all;
  for (int i = 0; i < 30; ++i) all += chunked + Request() + expecting + Request();
  Client client(server);
  client.Send(all);
  for (int i = 1; i <= 120; ++i) {
    if (i % 4 == 3) {
      ASSERT_EQ(client.ReadHead(), "HTTP/1.1 100 Continue\r\n\r\n");
    }
    ASSERT_NE(client.ReadAnswer().find("ok" + std::to_string(i)), std::string::npos) << i;
  }
  // A GET's body counts as the next head.
  client.Send("GET / HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: 9\r\n\r\n{\"a\": 1}\n");
  EXPECT_EQ(client.ReadToEnd(), kBadHead);
}

TEST(RequestTest, EndsTheConnectionWhenAskedTo) {
  TestServer server;
  Client client(server);
  client.Send(Request("Connection: CLOSE\r\n") + Request());
  const auto answer = client.ReadToEnd();
  EXPECT_NE(answer.find("Connection: close\r\n"), std::string::npos);
  EXPECT_EQ(answer.find("200 OK"), answer.rfind("200 OK"));
}

TEST(RequestTest, IsRefusedWithABadHead) {
  TestServer server;
  const std::string tooLong = "POST / HTTP/1.1\r\nA: " + std::string(4096 - 22, 'a') + "\r\n";
  for (const std::string& head :
       {tooLong + "\r\n", std::string("GARBAGE\r\n\r\n"),
        std::string("POST / HTTP/1.1\r\nContent-Length: x\r\n\r\n"),
        std::string("POST / HTTP/1.1\r\nContent-Length: 18446744073709551616\r\n\r\n")}) {
    Client client(server);
    client.Send(head);
    // Nothing of what is after a refused head is served.
    EXPECT_EQ(client.ReadToEnd(), kBadHead) << head;
  }
  EXPECT_EQ(server.logger->Lines("2 Invalid Http request").size(), 4U);

  Client expecting(server);
  expecting.Send(Request("Expect: magic\r\n"));
  EXPECT_EQ(expecting.ReadToEnd(),
            "HTTP/1.1 417 Expectation Failed\r\nConnection: close\r\nContent-Length: 0\r\n");
  EXPECT_EQ(server.logger->Lines("2 Invalid Http request: Expect header value is not 100-continue").size(),
            1U);
}

TEST(RequestTest, MayHaveAHeadThatJustFits) {
  TestServer server;
  const std::string body = kJsonCall;
  std::string head =
      "POST / HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
      "\r\nA: ";
  head += std::string(4096 - head.size() - 4, 'a') + "\r\n\r\n";
  Client client(server);
  client.Send(head + body);
  EXPECT_TRUE(IsOk(client.ReadAnswer()));
}

TEST(RequestTest, EndsWithoutAnAnswerWhenThePeerLeavesInItsHead) {
  TestServer server;
  for (const char* start : {"", "POST / HT"}) {
    Client client(server);
    client.Send(start);
    client.FinishSending();
    EXPECT_EQ(client.ReadToEnd(), "") << start;
  }
  EXPECT_TRUE(server.logger->Lines("2 Invalid").empty());
}

TEST(RequestTest, IsRefusedWithABadBody) {
  PicoHttp::ServerConfig config;
  config.httpBodySizeLimitInBytes = 100;
  TestServer server(config);
  const std::string start = "POST / HTTP/1.1\r\nContent-Type: application/json\r\n";
  struct Case {
    std::string request;
    std::string log;
  };
  for (const auto& [request, log] :
       {Case{start + "Content-Length: 101\r\n\r\n" + std::string(101, ' '), "Http:2 message too long"},
        Case{start + "Content-Length: 18446744073709551615\r\n\r\n" + std::string(101, ' '),
             "Http:2 message too long"},
        Case{start + "Content-Length: 50\r\n\r\nshort", "PicoHttp:6 incomplete body"},
        Case{start + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", "PicoHttp:2 chunk parse error"},
        Case{start + "Transfer-Encoding: chunked\r\n\r\n5\r\nab", "PicoHttp:6 incomplete body"},
        Case{start + "Transfer-Encoding: chunked\r\n\r\nffffffffffffffff\r\n" + std::string(150, ' '),
             "Http:2 message too long"}}) {
    Client client(server);
    client.Send(request);
    client.FinishSending();
    EXPECT_EQ(client.ReadToEnd(), kBadBody) << request;
    const auto lines = server.logger->Lines("1 RequestReadCb: [");
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find("] Error: Mirel Transport " + log), std::string::npos) << lines.back();
  }
  // Exactly the limit passes.
  Client client(server);
  const std::string body = kJsonCall;
  client.Send(Request("", body + std::string(100 - body.size(), ' ')));
  EXPECT_TRUE(IsOk(client.ReadAnswer()));
}

TEST(RequestTest, IsRefusedUnlessItIsPlainJson) {
  TestServer server;
  for (const char* type :
       {"", "Content-Type: text/plain\r\n", "Content-Type: application/vnd.tessaly.mirel.cleanjson\r\n",
        "Content-Type: application/json, application/vnd.tessaly.mirel.framed\r\n"}) {
    Client client(server);
    client.Send(std::string("POST / HTTP/1.1\r\nContent-Length: 0\r\n") + type + "\r\n");
    EXPECT_EQ(client.ReadToEnd(), kBadBody) << type;
  }
  EXPECT_EQ(server.logger->Lines("1 Request is considered as bad").size(), 4U);

  Client client(server);
  client.Send(
      "POST / HTTP/1.1\r\nContent-Type: application/json; charset=utf-8\r\nContent-Length: 54\r\n\r\n" +
      std::string(kJsonCall));
  EXPECT_TRUE(IsOk(client.ReadAnswer()));
}

TEST(RequestTest, WithoutALengthHasABodyToTheEndOfTheConnection) {
  TestServer server;
  for (const char* expect : {"", "Expect: 100-continue\r\n"}) {
    Client client(server);
    client.Send(std::string("POST / HTTP/1.1\r\nContent-Type: application/json\r\n") + expect + "\r\n" +
                kJsonCall);
    client.FinishSending();
    const auto answer = client.ReadToEnd();
    EXPECT_EQ(answer.starts_with("HTTP/1.1 100 Continue\r\n\r\n"), *expect != '\0');
    EXPECT_TRUE(answer.ends_with("\r\n0\r\n\r\n")) << answer;
  }
}

TEST(RequestTest, WithoutABodyIsHandledWithoutAnAnswer) {
  TestServer server;
  Client client(server);
  client.Send(Request("Expect: 100-continue\r\n", "") + Request());
  EXPECT_EQ(client.ReadHead(), "HTTP/1.1 100 Continue\r\n\r\n");
  EXPECT_TRUE(IsOk(client.ReadAnswer()));
  server.Settle();
  EXPECT_EQ(server.logger->Lines("0 Request handled[").size(), 2U);
}

TEST(RequestTest, ThatIsNotUnderstoodGetsALengthAndAnError) {
  TestServer server;
  Client client(server);
  client.Send(Request("", "{nonsense") + Request("Mirel-Operation: test.service.other\r\n") + Request());
  for (int i = 0; i < 2; ++i) {
    const auto head = client.ReadHead();
    EXPECT_TRUE(head.starts_with("HTTP/1.1 200 OK\r\nContent-Length: ")) << head;
    EXPECT_NE(head.find("\r\nConnection: Keep-Alive\r\nmirel-error: "), std::string::npos) << head;
    const auto body = client.ReadExactly(std::stoul(head.substr(33)));
    EXPECT_TRUE(body.starts_with('{') && body.ends_with('}')) << body;
  }
  EXPECT_TRUE(IsOk(client.ReadAnswer()));
}

}  // namespace
}  // namespace Mirel::Transport

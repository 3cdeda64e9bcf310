#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "framework/core/dataValue.h"
#include "framework/transport/answer/responseHead.h"
#include "tests/transport/testServer.h"

namespace Mirel::Transport {
namespace {

using Next = Core::AsyncApiResultCb::Next;
using NextPtr = std::shared_ptr<Core::AsyncApiResultCb>;

// The forms that a client accepts count in an order of their own.
constexpr const char* kStream =
    "Accept: application/vnd.tessaly.mirel.cleanjson, application/vnd.tessaly.mirel.stream.json\r\n";

std::shared_ptr<const Core::MethodResult> Value(const std::string& text) {
  return Core::MethodResult::GetInstance(Data::DataValue::Create(text));
}

// A call whose results the test gives one by one.
struct OpenCall {
  explicit OpenCall(TestServer& server) : server_(server) {
    server.provider->script = [this](const Call& call) {
      result = std::make_shared<Core::AsyncApiResultCb>(call.result);
    };
  }

  bool Begun() {
    return server_.RunUntil([this] { return result != nullptr; });
  }
  void Give(const std::shared_ptr<const Core::MethodResult>& value) {
    const auto turn = std::exchange(result, nullptr);
    (*turn)(value, {}, [this](const NextPtr& next) {
      ++asked;
      result = next;
      stopped = !next;
    });
  }
  void GiveLast(const std::shared_ptr<const Core::MethodResult>& value) {
    const auto turn = std::exchange(result, nullptr);
    (*turn)(value, {}, nullptr);
  }

  NextPtr result;
  int asked = 0;
  bool stopped = false;

 private:
  TestServer& server_;
};

TEST(ResponseTest, CarriesEachResultInAFrameOfItsOwn) {
  TestServer server;
  OpenCall call(server);
  Client client(server);
  client.Send(Request(kStream));
  ASSERT_TRUE(call.Begun());
  for (int i = 0; i < 5; ++i) {
    call.Give(Value("element" + std::to_string(i)));
    EXPECT_FALSE(call.result) << "the next result is asked for while this one is not sent";
    ASSERT_TRUE(call.Begun());
    if (i == 0) {
      EXPECT_EQ(client.ReadHead(),
                "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n"
                "Content-Type: application/vnd.tessaly.mirel.stream.json\r\nConnection: Keep-Alive\r\n"
                "Server: Mirel-PicoHttp\r\n\r\n");
    }
    const auto chunk = client.ReadChunk();
    const auto sizeEnd = chunk.find("\r\n");
    ASSERT_NE(sizeEnd, std::string::npos);
    EXPECT_EQ(std::stoul(chunk.substr(0, sizeEnd), nullptr, 16), chunk.size() - sizeEnd - 4);
    EXPECT_NE(chunk.find("element" + std::to_string(i)), std::string::npos);
    EXPECT_TRUE(chunk.ends_with("}\r\n")) << chunk;
  }
  call.GiveLast(Value("end"));
  EXPECT_NE(client.ReadChunk().find("end"), std::string::npos);
  EXPECT_EQ(client.ReadThrough("0\r\n\r\n"), "0\r\n\r\n");
  EXPECT_EQ(call.asked, 5);
  client.Send(Request());
  ASSERT_TRUE(call.Begun()) << "the connection carries the next request";
}

// The payload of so many base64 characters is shared by reference, so that the chunk is made of many
// buffers.
std::shared_ptr<const Core::MethodResult> Blob(std::size_t characters) {
  auto text = std::make_shared<std::string>(characters, 'A');
  return Core::MethodResult::GetInstance(
      std::make_shared<Data::BlobValue>(text, std::span<const unsigned char>(), std::string_view(*text)));
}

TEST(ResponseTest, CutsFramesAtSixtyFourKibibytesWithoutRegardToTheirStructure) {
  TestServer server;
  OpenCall call(server);
  Client client(server);
  client.Send(Request(kStream));
  ASSERT_TRUE(call.Begun());
  call.Give(Blob(60000));
  client.ReadHead();
  // Five digits of frame size from here on would not change the length of its line: 5 + 2 for both.
  const auto overhead = client.ReadChunk().size() - 60000;
  for (const std::size_t total : {65535U, 65536U, 65537U, 131072U, 131073U, 300000U}) {
    ASSERT_TRUE(call.Begun());
    const auto sizeLineGrowth = total - overhead >= 65536 ? 1U : 0U;
    call.Give(Blob(total - overhead - sizeLineGrowth));
    std::size_t received = 0;
    std::size_t chunks = 0;
    while (received < total) {
      const auto size = client.ReadChunk().size();
      ASSERT_TRUE(size == 65536 || received + size == total) << size;
      received += size;
      ++chunks;
    }
    EXPECT_EQ(received, total);
    EXPECT_EQ(chunks, (total + 65535) / 65536);
  }
}

TEST(ResponseTest, OfAStreamEndsWithATerminalResult) {
  TestServer server;
  OpenCall call(server);
  Client client(server);
  client.Send(
      Request("Accept: application/vnd.tessaly.mirel.stream.json, "
              "application/vnd.tessaly.mirel.clean.stream.json, application/json\r\n"));
  ASSERT_TRUE(call.Begun());
  call.Give(Core::MethodResult::GetErrorInstance(Data::ErrorValue::Create("some.error", {})));
  const auto answer = client.ReadAnswer();
  EXPECT_NE(answer.find("Content-Type: application/vnd.tessaly.mirel.clean.stream.json\r\n"),
            std::string::npos);
  EXPECT_NE(answer.find("mirel-error: some.error\r\n"), std::string::npos);
  EXPECT_TRUE(call.stopped);
}

// Gives so many elements, each as soon as it is asked for it, and then one more that it has promised only if
// it keeps its word.
class Row final : public Data::Backlog {
 public:
  Row(int elements, bool keepsItsWord) : left_(elements), keepsItsWord_(keepsItsWord) {}

  bool HasNext() const override { return left_ > 0 || !keepsItsWord_; }
  void Give(const Core::AsyncApiResultCb& turn) {
    --left_;
    const auto value = Data::DataValue::Create("element" + std::to_string(given++));
    turn(Core::MethodResult::GetInstance(value, this), {}, [this](const NextPtr& next) {
      last = next;
      if (next && left_ > 0) Give(*next);
    });
  }

  int given = 0;
  NextPtr last;

 private:
  int left_;
  bool keepsItsWord_;
};

TEST(ResponseTest, PutsElementsInARowIntoOneSegment) {
  TestServer server;
  OpenCall call(server);
  Client client(server);
  client.Send(Request(kStream));
  ASSERT_TRUE(call.Begun());
  call.Give(Value("first"));
  client.ReadHead();
  client.ReadChunk();
  ASSERT_TRUE(call.Begun());
  const auto segments = client.SegmentsReceived();
  constexpr int kElements = 10;
  Row row(kElements, true);
  row.Give(*std::exchange(call.result, nullptr));
  EXPECT_EQ(row.given, 1) << "the others are asked for when this one has left";
  for (int i = 0; i < kElements; ++i) {
    EXPECT_NE(client.ReadChunk().find("element" + std::to_string(i)), std::string::npos);
  }
  EXPECT_EQ(client.SegmentsReceived(), segments + 1);
}

// The kernel would keep it back for a fifth of a second.
TEST(ResponseTest, HoldsNothingBackForAnElementThatDoesNotCome) {
  TestServer server;
  OpenCall call(server);
  Client client(server);
  client.Send(Request(kStream));
  ASSERT_TRUE(call.Begun());
  call.Give(Value("first"));
  client.ReadHead();
  client.ReadChunk();
  ASSERT_TRUE(call.Begun());
  Row row(1, false);
  row.Give(*std::exchange(call.result, nullptr));
  server.Settle();
  EXPECT_NE(client.Received().find("element0"), std::string::npos);
}

TEST(ResponseTest, LetsOthersInBetweenTheElementsOfALongRow) {
  TestServer server;
  OpenCall call(server);
  Client client(server);
  client.Send(Request(kStream));
  ASSERT_TRUE(call.Begun());
  constexpr int kElements = 1000;
  Row row(kElements, true);
  row.Give(*std::exchange(call.result, nullptr));
  std::vector<int> givenBefore;
  const std::function<void()> other = [&] {
    givenBefore.push_back(row.given);
    if (row.given < kElements) boost::asio::post(server.io, other);
  };
  other();
  client.ReadHead();
  for (int i = 0; i < kElements; ++i) {
    ASSERT_NE(client.ReadChunk().find("element" + std::to_string(i)), std::string::npos) << i;
  }
  for (std::size_t i = 1; i < givenBefore.size(); ++i) EXPECT_LE(givenBefore[i] - givenBefore[i - 1], 40);
}

TEST(ResponseTest, GivesUpOnAClientThatNeverReads) {
  PicoHttp::ServerConfig config;
  config.writeTimeout = std::chrono::milliseconds(50);
  TestServer server(config);
  OpenCall call(server);
  Client client(server, 4096);
  client.Send(Request(kStream));
  ASSERT_TRUE(call.Begun());
  const auto big = Value(std::string(1000000, 'x'));
  ASSERT_TRUE(server.RunUntil([&] {
    if (call.result) call.Give(big);
    return call.stopped;
  }));
  EXPECT_EQ(server.logger->Lines("1 Failed to sent response body [").size(), 1U);
  // The request ends with it, and the connection.
  EXPECT_EQ(server.logger->Lines("0 Handle request error: [").size(), 1U);
  client.ReadToEnd();
}

TEST(ResponseTest, ToAClientThatHasGoneEndsWithItsHead) {
  TestServer server;
  OpenCall call(server);
  Client client(server);
  client.Send(Request(kStream));
  ASSERT_TRUE(call.Begun());
  client.Reset();
  server.Settle();
  call.Give(Value("unread"));
  EXPECT_TRUE(server.RunUntil([&] { return call.stopped; }));
  EXPECT_EQ(server.logger->Lines("1 Failed to sent response head[").size(), 1U);
  EXPECT_EQ(server.logger->Lines("0 Handle request error: [").size(), 1U);
}

TEST(ResponseTest, ToAClientWithoutStreamsIsOneValueOrAnError) {
  TestServer server;
  OpenCall call(server);
  Client client(server);
  client.Send(Request("Accept: application/vnd.tessaly.mirel.cleanjson, application/json\r\n"));
  ASSERT_TRUE(call.Begun());
  call.Give(Value("first"));
  const auto answer = client.ReadAnswer();
  EXPECT_NE(answer.find("Content-Type: application/vnd.tessaly.mirel.cleanjson\r\n"), std::string::npos)
      << answer;
  EXPECT_NE(answer.find("first"), std::string::npos);
  EXPECT_TRUE(call.stopped);

  client.Send(Request());
  ASSERT_TRUE(call.Begun());
  call.GiveLast(std::make_shared<const Core::MethodResult>(Data::DataValue::Create("no"), nullptr, true));
  EXPECT_NE(client.ReadAnswer().find("com.tessaly.mirel.std.errors.internal_server_error"),
            std::string::npos);
}

TEST(ResponseTest, HasAnIdentifierThatNoOtherLiveOneHas) {
  TestServer server;
  OpenCall call(server);
  std::vector<std::unique_ptr<Client>> clients;
  std::vector<NextPtr> live;
  for (int i = 0; i < 8; ++i) {
    clients.push_back(std::make_unique<Client>(server));
    clients.back()->Send(Request(kStream));
    ASSERT_TRUE(call.Begun());
    call.Give(Value("element"));
    ASSERT_TRUE(call.Begun());
    live.push_back(std::exchange(call.result, nullptr));
  }
  auto ids = server.logger->Lines("0 ResponseSentCb[");
  ASSERT_EQ(ids.size(), 8U);
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

TEST(ResponseHeadTest, AlwaysTellsALengthThatIsKnown) {
  Http::ResponseHeaderRange noContent({{":reason", "No Content"}, {":status", "204"}, {"A", ""}});
  EXPECT_EQ(Http::WriteHead(noContent, 0, "connnect"),
            "HTTP/1.1 204 No Content\r\nContent-Length: 0\r\nA: \r\nServer: Mirel-PicoHttp\r\n\r\n");
}

}  // namespace
}  // namespace Mirel::Transport

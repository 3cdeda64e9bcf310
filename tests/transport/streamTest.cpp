#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "framework/transport/ioStream.h"
#include "tests/transport/testServer.h"

namespace Mirel::Transport {
namespace {

TEST(Deadline, NeverWrapsAround) {
  using Clock = std::chrono::steady_clock;
  using std::chrono::nanoseconds;
  const auto now = Clock::now();
  EXPECT_EQ(Asio::Deadline<Clock>(now, nanoseconds(5)), now + nanoseconds(5));
  EXPECT_EQ(Asio::Deadline<Clock>(now, nanoseconds::max()), Clock::time_point::max());
  EXPECT_EQ(Asio::Deadline<Clock>(Clock::time_point::min() + nanoseconds(1), nanoseconds(-2)),
            Clock::time_point::min());
}

TEST(Deadline, EndsAConnectionThatStandsStillInARequest) {
  PicoHttp::ServerConfig config;
  config.readTimeout = std::chrono::milliseconds(30);
  TestServer server(config);
  Client idle(server);
  Client inHead(server);
  Client inBody(server);
  inHead.Send("POST / HT");
  inBody.Send("POST / HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: 5\r\n\r\n{");
  EXPECT_EQ(idle.ReadToEnd(), "");
  EXPECT_EQ(inHead.ReadToEnd(), "");
  // The connection is shut down both ways, so that the answer cannot be sent any more.
  EXPECT_EQ(inBody.ReadToEnd(), "");
  EXPECT_TRUE(
      server.RunUntil([&] { return !server.logger->Lines("1 Sent InvalidRequest response:[").empty(); }));
  EXPECT_EQ(server.logger->Lines("1 Failed to send InvalidRequest response:[").size(), 1U);
}

TEST(Deadline, DoesNotTouchAResponseThatStandsIdle) {
  PicoHttp::ServerConfig config;
  config.readTimeout = config.writeTimeout = std::chrono::milliseconds(20);
  TestServer server(config);
  std::optional<Core::AsyncApiResultCb> result;
  server.provider->script = [&](const Call& call) { result = call.result; };
  Client client(server);
  client.Send(Request());
  ASSERT_TRUE(server.RunUntil([&] { return result.has_value(); }));
  // A later connection's deadline shows that the time has passed.
  Client later(server);
  EXPECT_EQ(later.ReadToEnd(), "");
  (*result)(Core::MethodResult::GetInstance(Data::DataValue::Create("late")), {}, nullptr);
  EXPECT_NE(client.ReadAnswer().find("late"), std::string::npos);
}

struct Pair {
  Pair() : stream(std::make_shared<Asio::IoStream>(io.get_executor())) {
    int fds[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    peer = fds[0];
    // What matters here is a stream of bytes, not its family.
    stream->LowestSocket().assign(boost::asio::ip::tcp::v4(), fds[1]);
    stream->SetTimeouts({std::chrono::hours(1), std::chrono::hours(1)});
  }
  ~Pair() { ::close(peer); }
  std::string Read(std::size_t size) {
    std::string buffer(size, '\0');
    bool inside = true;
    stream->async_read_some(boost::asio::buffer(buffer), [&](const auto& ec, std::size_t bytes) {
      EXPECT_FALSE(inside) << "the handler ran inside the call";
      error = ec;
      buffer.resize(bytes);
    });
    inside = false;
    io.restart();
    io.run();
    return buffer;
  }

  boost::asio::io_context io;
  std::shared_ptr<Asio::IoStream> stream;
  int peer;
  boost::system::error_code error;
};

TEST(AsyncPutbackStream, KeepsTheOrderOfBytesThatWerePutBack) {
  Pair pair;
  std::error_code ec;
  const auto putBack = [&](const char* text) {
    pair.stream->PutBack(boost::asio::buffer(std::string(text)), ec);
  };
  putBack("cdef");
  putBack("");
  EXPECT_EQ(pair.Read(1), "c");
  putBack("abc");
  EXPECT_EQ(pair.Read(4), "abcd");
  EXPECT_EQ(pair.Read(9), "ef");
  EXPECT_FALSE(ec);
  ASSERT_EQ(::send(pair.peer, "new", 3, 0), 3);
  EXPECT_EQ(pair.Read(9), "new");
}

TEST(TimeoutBaseStream, HasFixedErrorsForASocketThatWasClosed) {
  Pair pair;
  pair.stream->LowestSocket().close();
  EXPECT_EQ(pair.Read(9), "");
  EXPECT_EQ(pair.error, boost::asio::error::eof);
  boost::system::error_code writeError;
  pair.stream->async_write_some(boost::asio::buffer("x", 1),
                                [&](const auto& ec, std::size_t) { writeError = ec; });
  pair.io.restart();
  pair.io.run();
  EXPECT_EQ(writeError, boost::system::error_code(EPIPE, boost::system::system_category()));
}

}  // namespace
}  // namespace Mirel::Transport

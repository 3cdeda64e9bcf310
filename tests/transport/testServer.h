#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "framework/core/asyncActivation.h"
#include "framework/core/asyncApiProvider.h"
#include "framework/core/log.h"
#include "framework/provider/enqueuer.h"
#include "framework/transport/asioTcpApiServer.h"

namespace Mirel::Transport {

// Keeps all lines, each with its severity in front.
class RecordingLogger final : public Log::Logger {
 public:
  class Record final : public Log::LogRecord {
   public:
    Record(RecordingLogger& logger, Log::SeverityLevel severity) : logger_(logger) {
      text_ << static_cast<unsigned>(severity) << ' ';
    }
    ~Record() override {
      const std::lock_guard lock(logger_.mutex_);
      logger_.lines_.push_back(text_.str());
    }
    std::ostream& Stream() override { return text_; }

   private:
    RecordingLogger& logger_;
    std::ostringstream text_;
  };

  std::unique_ptr<Log::LogRecord> OpenRecord(Log::SeverityLevel severity) override {
    return std::make_unique<Record>(*this, severity);
  }

  // The lines that begin so.
  std::vector<std::string> Lines(const std::string& prefix) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> found;
    for (const auto& line : lines_) {
      if (line.starts_with(prefix)) found.push_back(line);
    }
    return found;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

struct Call {
  std::string method;
  std::shared_ptr<Core::AsyncActivation> activation;
  Core::AsyncApiResultCb result;
};

// Does with each call what the test says; without a word it answers "ok".
class ScriptedProvider final : public Core::AsyncApiProvider {
 public:
  std::string ToString() const override { return "ScriptedProvider"; }
  void Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method,
              const std::shared_ptr<const Data::DataValue>&,
              const std::shared_ptr<Core::AsyncActivation>& activation,
              const Core::AsyncApiResultCb& result) override {
    script({method->ToString(), activation, result});
  }

  std::function<void(const Call&)> script = [](const Call& call) {
    call.result(Core::MethodResult::GetInstance(Data::DataValue::Create("ok")), {}, nullptr);
  };
};

// A server on loopback whose I/O context runs only while a client waits: what a test does comes in one
// order.
class TestServer {
 public:
  explicit TestServer(PicoHttp::ServerConfig config = {})
      : server(io, {boost::asio::ip::make_address("127.0.0.1"), 0}, {boost::asio::ip::make_address("::1"), 0},
               provider, Asio::Enqueuer(io), logger, nullptr, std::move(config)) {
    EXPECT_FALSE(server.Start());
  }

  // Runs until the condition holds; false when nothing comes of it.
  bool RunUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) return false;
      if (io.poll() == 0) io.run_one_for(std::chrono::milliseconds(100));
    }
    return true;
  }
  void Settle() {
    while (io.poll() != 0) {
    }
  }

  boost::asio::io_context io;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work{io.get_executor()};
  std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
  std::shared_ptr<ScriptedProvider> provider = std::make_shared<ScriptedProvider>();
  PicoHttp::AsioTcpApiServer server;
};

class Client {
 public:
  explicit Client(TestServer& server, int receiveBuffer = 0)
      : server_(server), fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
    if (receiveBuffer != 0) setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    const int on = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const auto endpoint = server.server.Endpoint4();
    EXPECT_EQ(::connect(fd_, endpoint.data(), static_cast<socklen_t>(endpoint.size())), 0);
    ::fcntl(fd_, F_SETFL, O_NONBLOCK);
  }
  ~Client() { Close(); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  void Send(const std::string& bytes) {
    std::size_t sent = 0;
    EXPECT_TRUE(server_.RunUntil([&] {
      const auto n = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n < 0 && errno != EAGAIN) return true;
      if (n > 0) sent += static_cast<std::size_t>(n);
      return sent == bytes.size();
    }));
  }

  // All that was received and not yet taken, up to and with the mark.
  std::string ReadThrough(const std::string& mark) {
    EXPECT_TRUE(server_.RunUntil([&] {
      Receive();
      return received_.find(mark) != std::string::npos || closed_;
    }));
    const auto end = received_.find(mark);
    return Take(end == std::string::npos ? received_.size() : end + mark.size());
  }
  std::string ReadExactly(std::size_t count) {
    EXPECT_TRUE(server_.RunUntil([&] {
      Receive();
      return received_.size() >= count || closed_;
    }));
    return Take(std::min(count, received_.size()));
  }
  std::string ReadToEnd() {
    EXPECT_TRUE(server_.RunUntil([&] {
      Receive();
      return closed_;
    }));
    return Take(received_.size());
  }

  std::string ReadHead() { return ReadThrough("\r\n\r\n"); }
  // The next chunk's data; empty for the last chunk.
  std::string ReadChunk() {
    const auto line = ReadThrough("\r\n");
    const auto size = std::stoul(line.empty() ? "0" : line, nullptr, 16);
    const auto data = ReadExactly(size);
    EXPECT_EQ(ReadExactly(2), "\r\n");
    return data;
  }
  // Head and chunks of a whole response that is chunked.
  std::string ReadAnswer() {
    std::string answer = ReadHead();
    for (auto chunk = ReadChunk(); !chunk.empty(); chunk = ReadChunk()) answer += chunk;
    return answer;
  }

  // What has come by now.
  const std::string& Received() {
    Receive();
    return received_;
  }
  // Segments with data that the kernel has received for this connection.
  std::uint32_t SegmentsReceived() const {
    // What the kernel tells, of which the C library knows the beginning.
    struct {
      tcp_info beginning;
      std::uint64_t ratesAndBytes[4];
      std::uint32_t segmentsOutAndIn[2];
      std::uint32_t notSentAndRoundTrip[2];
      std::uint32_t dataSegmentsIn;
    } info{};
    socklen_t size = sizeof info;
    EXPECT_EQ(getsockopt(fd_, IPPROTO_TCP, TCP_INFO, &info, &size), 0);
    return info.dataSegmentsIn;
  }

  void FinishSending() { ::shutdown(fd_, SHUT_WR); }
  // How long the kernel answers for a socket whose program has closed it; a minute unless it is said.
  void LeaveNothingBehind() {
    const int seconds = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_LINGER2, &seconds, sizeof seconds);
  }
  // Leaves so that the server's side knows it at once.
  void Reset() {
    const linger none{1, 0};
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    Close();
  }
  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  void Receive() {
    char buffer[16384];
    for (;;) {
      const auto n = ::recv(fd_, buffer, sizeof buffer, 0);
      if (n > 0) {
        received_.append(buffer, static_cast<std::size_t>(n));
      } else {
        closed_ = n == 0 || errno != EAGAIN;
        return;
      }
    }
  }
  std::string Take(std::size_t count) {
    std::string taken = received_.substr(0, count);
    received_.erase(0, count);
    return taken;
  }

  TestServer& server_;
  int fd_;
  std::string received_;
  bool closed_ = false;
};

inline constexpr const char* kJsonCall = R"({"jsonrpc":"2.0","id":"7","method":"test.service.run"})";

// A request whose body is the call, with more header lines.
inline std::string Request(const std::string& headers = "", const std::string& body = kJsonCall) {
  return "POST /api HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n" + headers + "\r\n" + body;
}

inline constexpr const char* kBadHead =
    "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\nServer: Mirel-PicoHttp\r\n\r\n";
inline constexpr const char* kBadBody =
    "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nContent-Type: text/plain\r\nConnection: close\r\n"
    "Server: Mirel-PicoHttp\r\n\r\n";

}  // namespace Mirel::Transport

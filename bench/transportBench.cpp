// What one element of a stream costs on the server's thread, beside the bare system call that sends as many
// bytes. A second thread reads the client's end.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <memory>
#include <string>
#include <thread>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/dataValue.h"
#include "framework/provider/enqueuer.h"
#include "framework/transport/asioTcpApiServer.h"

namespace {

using namespace Mirel;

class OpenCallProvider final : public Core::AsyncApiProvider {
 public:
  std::string ToString() const override { return "OpenCallProvider"; }
  void Invoke(const std::shared_ptr<const Core::MethodIdentifier>&,
              const std::shared_ptr<const Data::DataValue>&, const std::shared_ptr<Core::AsyncActivation>&,
              const Core::AsyncApiResultCb& callback) override {
    result = std::make_shared<Core::AsyncApiResultCb>(callback);
  }

  std::shared_ptr<Core::AsyncApiResultCb> result;
};

int Connect(const boost::asio::ip::tcp::endpoint& endpoint) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (::connect(fd, endpoint.data(), static_cast<socklen_t>(endpoint.size())) != 0) std::abort();
  return fd;
}

std::thread Drain(int fd) {
  return std::thread([fd] {
    std::string buffer(1 << 20, '\0');
    while (::recv(fd, buffer.data(), buffer.size(), 0) > 0) {
    }
    ::close(fd);
  });
}

void StreamElement(benchmark::State& state) {
  boost::asio::io_context io;
  const auto provider = std::make_shared<OpenCallProvider>();
  {
    Transport::PicoHttp::AsioTcpApiServer server(io, {boost::asio::ip::make_address("127.0.0.1"), 0},
                                                 {boost::asio::ip::make_address("::1"), 0}, provider,
                                                 Asio::Enqueuer(io), nullptr, nullptr, {});
    server.Start();
    const int client = Connect(server.Endpoint4());
    const std::string body = R"({"jsonrpc":"2.0","id":1,"method":"a.b"})";
    const std::string request =
        "POST / HTTP/1.1\r\nContent-Type: application/json\r\nAccept: "
        "application/vnd.tessaly.mirel.stream.json"
        "\r\nContent-Length: " +
        std::to_string(body.size()) + "\r\n\r\n" + body;
    if (::send(client, request.data(), request.size(), 0) < 0) std::abort();
    while (!provider->result) io.run_one();

    auto reader = Drain(client);
    const auto value = Core::MethodResult::GetInstance(
        Data::DataValue::Create(std::string(static_cast<std::size_t>(state.range(0)), 'x')));
    for (auto _ : state) {
      const auto turn = std::exchange(provider->result, nullptr);
      (*turn)(value, {},
              [&](const std::shared_ptr<Core::AsyncApiResultCb>& next) { provider->result = next; });
      while (!provider->result) io.run_one();
    }
    (*provider->result)(value, {}, nullptr);
    provider->result.reset();
    ::shutdown(client, SHUT_RDWR);
    reader.join();
  }
  io.poll();
}
BENCHMARK(StreamElement)->Arg(256)->Arg(16384)->Arg(262144);

void BareSend(benchmark::State& state) {
  int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const plain = static_cast<sockaddr*>(static_cast<void*>(&address));
  if (::bind(listener, plain, size) != 0 || ::listen(listener, 1) != 0) std::abort();
  ::getsockname(listener, plain, &size);
  boost::asio::ip::tcp::endpoint endpoint(boost::asio::ip::address_v4::loopback(), ntohs(address.sin_port));
  auto reader = Drain(Connect(endpoint));
  const int server = ::accept(listener, nullptr, nullptr);
  const std::string bytes(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    if (::send(server, bytes.data(), bytes.size(), 0) < 0) std::abort();
  }
  ::close(server);
  ::close(listener);
  reader.join();
}
BENCHMARK(BareSend)->Arg(256);

}  // namespace

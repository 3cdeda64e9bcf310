#include "bench/siege/client.h"

#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "testing/subscriber.h"

namespace Siege {
namespace {

std::string Head(std::size_t length, std::string_view moreHeaders) {
  return "POST /api HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n" +
         std::string(moreHeaders) + "Content-Length: " + std::to_string(length) + "\r\n\r\n";
}

}  // namespace

sockaddr_in Loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

bool CanConnect(std::uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const auto address = Loopback(port);
  const bool connected = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return connected;
}

std::string Post(std::string_view body, std::string_view moreHeaders) {
  return Head(body.size(), moreHeaders).append(body);
}

std::string HalfPost(std::size_t length, std::string_view begin, std::string_view moreHeaders) {
  return Head(length, moreHeaders).append(begin);
}

std::string AnonymousCall(std::string_view method, std::string_view input) {
  std::string body = R"({"jsonrpc":"2.0","id":1,"method":)";
  body.append(method).append(R"(,"params":{"input":)").append(input).append("}}");
  return Post(body, "Connection: close\r\n");
}

std::string Ask(std::uint16_t port, std::string_view request) try {
  Testing::Connection connection(port);
  connection.Send(request);
  return connection.ReceiveAll();
} catch (const std::runtime_error&) {
  return {};
}

}  // namespace Siege

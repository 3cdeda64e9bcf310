// The least that a broker can do: each text of the first connection goes to each of the others, by a blocking
// write of its own. In front of each text its length, in the machine's 32 bits; it's passed on with it.
// usage: relay PORT SUBSCRIBERS

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr std::size_t kBufferSize = 1 << 20;

int Listen(std::uint16_t port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) std::exit(1);
  if (listen(listener, SOMAXCONN) != 0) std::exit(1);
  return listener;
}

int Accept(int listener) {
  const int connection = accept(listener, nullptr, nullptr);
  const int on = 1;
  setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return connection;
}

// Of the message that begins there, its length included; 0 when that isn't known yet.
std::size_t MessageSize(const char* data, std::size_t available) {
  std::uint32_t textSize = 0;
  if (available < sizeof textSize) return 0;
  std::memcpy(&textSize, data, sizeof textSize);
  return sizeof textSize + textSize;
}

void SendToAll(const std::vector<int>& subscribers, const char* data, std::size_t size) {
  for (const int subscriber : subscribers) {
    if (send(subscriber, data, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) std::exit(1);
  }
}

void Relay(int publisher, const std::vector<int>& subscribers) {
  std::vector<char> buffer(kBufferSize);
  std::size_t filled = 0;
  while (true) {
    const auto received = recv(publisher, buffer.data() + filled, buffer.size() - filled, 0);
    if (received <= 0) return;
    filled += static_cast<std::size_t>(received);
    std::size_t at = 0;
    for (std::size_t size = MessageSize(buffer.data(), filled); size != 0 && size <= filled - at;
         size = MessageSize(buffer.data() + at, filled - at)) {
      SendToAll(subscribers, buffer.data() + at, size);
      at += size;
    }
    filled -= at;
    std::memmove(buffer.data(), buffer.data() + at, filled);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 64;
  const int listener = Listen(static_cast<std::uint16_t>(std::atoi(argv[1])));
  const int publisher = Accept(listener);
  std::vector<int> subscribers;
  for (int left = std::atoi(argv[2]); left > 0; --left) subscribers.push_back(Accept(listener));
  Relay(publisher, subscribers);
}

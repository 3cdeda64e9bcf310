#include "testing/subscriber.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

namespace Testing {
namespace {

constexpr timeval kReadPatience{20, 0};

}  // namespace

Connection::Connection(std::uint16_t port, int receiveBuffer) : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
  setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &kReadPatience, sizeof kReadPatience);
  setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &kReadPatience, sizeof kReadPatience);
  if (receiveBuffer != 0) setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot connect");
  }
}

Connection::~Connection() {
  if (fd_ >= 0) close(fd_);
}

Connection::Connection(Connection&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), pending_(std::move(other.pending_)) {}

void Connection::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto sent = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;  // The daemon may refuse before it has read everything; its answer says so.
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::string Connection::Receive() {
  if (!pending_.empty()) return std::exchange(pending_, {});
  std::string bytes(65536, '\0');
  const auto size = recv(fd_, bytes.data(), bytes.size(), 0);
  if (size < 0 && errno == EAGAIN) throw std::runtime_error("nothing received in time");
  bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return bytes;
}

std::string Connection::ReceiveAll() {
  std::string all;
  for (auto bytes = Receive(); !bytes.empty(); bytes = Receive()) all += bytes;
  return all;
}

std::string Connection::ReceiveThrough(std::string_view mark) {
  std::string all;
  auto found = std::string::npos;
  while (found == std::string::npos) {
    const auto bytes = Receive();
    if (bytes.empty()) throw std::runtime_error("the connection has ended after: " + all);
    const auto searchFrom = all.size() < mark.size() ? 0 : all.size() - mark.size();
    all += bytes;
    found = all.find(mark, searchFrom);
  }
  pending_ = all.substr(found + mark.size());
  all.resize(found + mark.size());
  return all;
}

std::string Connection::ReceiveExactly(std::size_t size) {
  std::string all;
  while (all.size() < size) {
    const auto bytes = Receive();
    if (bytes.empty()) throw std::runtime_error("the connection has ended");
    all += bytes;
  }
  pending_ = all.substr(size);
  all.resize(size);
  return all;
}

void Connection::Reset() {
  const linger hard{1, 0};
  setsockopt(fd_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
  close(std::exchange(fd_, -1));
}

std::string TokenFor(const std::string& subject, const std::string& entitlement) {
  const auto command = HESPER_HOST_PROGRAM " token --subject '" + subject + "' --entitlement " + entitlement;
  FILE* output = popen(command.c_str(), "r");
  char token[4096] = "";
  if (!output || !fgets(token, sizeof token, output) || pclose(output) != 0) {
    throw std::runtime_error("no token");
  }
  const std::string_view line(token);
  return "Authorization: Bearer " + std::string(line.substr(0, line.find('\n'))) + "\r\n";
}

const std::string& Authorized() {
  static const std::string header = TokenFor("tests", "GUEST_DATA_ACCESS");
  return header;
}

std::string CallRequest(std::string_view method, std::string_view input, std::string_view accept,
                        std::string_view moreHeaders, std::string_view authorization) {
  const auto body = R"({"jsonrpc":"2.0","id":1,"method":")" + std::string(method) +
                    R"(","params":{"input":)" + std::string(input) + "}}";
  return "POST /api HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nAccept: " +
         std::string(accept) + "\r\n" + std::string(authorization) + std::string(moreHeaders) +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

Subscriber::Subscriber(std::uint16_t port, std::string_view wanted, int receiveBuffer)
    : connection_(port, receiveBuffer) {
  connection_.Send(CallRequest(kSubscribe, R"({"spec":)" + std::string(wanted) + "}",
                               "application/vnd.tessaly.mirel.clean.stream.json"));
}

std::string Subscriber::ReadHead() {
  headRead_ = true;
  return connection_.ReceiveThrough("\r\n\r\n");
}

std::string Subscriber::NextChunk() {
  const auto size = std::stoull(connection_.ReceiveThrough("\r\n"), nullptr, 16);
  auto data = connection_.ReceiveExactly(size);
  connection_.ReceiveThrough("\r\n");
  if (size == 0) throw std::runtime_error("the stream has ended");
  return data;
}

std::string Subscriber::Next() {
  if (!headRead_) ReadHead();
  while (frames_.find("\r\n") == std::string::npos) frames_ += NextChunk();
  const auto begin = frames_.find("\r\n") + 2;
  const auto size = std::stoull(frames_, nullptr, 16);
  while (frames_.size() < begin + size + 2) frames_ += NextChunk();
  auto text = frames_.substr(begin, size);
  frames_.erase(0, begin + size + 2);
  return text;
}

}  // namespace Testing

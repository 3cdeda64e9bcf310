#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "platform/corvane/fileDescriptor.h"

namespace Testing {

// A listening socket of 127.0.0.1 that nobody else has the port of.
class ListeningPort {
 public:
  ListeningPort() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(socket_.Get(), reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        listen(socket_.Get(), 8) != 0 ||
        getsockname(socket_.Get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("cannot listen");
    }
    number_ = ntohs(address.sin_port);
  }

  std::uint16_t number() const { return number_; }
  // Whether one waits for somebody to accept it.
  bool HasConnection() const {
    pollfd waiting{socket_.Get(), POLLIN, 0};
    return poll(&waiting, 1, 0) == 1;
  }
  Corvane::FileDescriptor Accept() const {
    return Corvane::FileDescriptor(accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
  }

 private:
  const Corvane::FileDescriptor socket_{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  std::uint16_t number_ = 0;
};

// In place of a daemon: takes one call, and answers with these bytes. The last part is repeated until the
// caller has enough of it.
class AnsweringServer {
 public:
  explicit AnsweringServer(std::string answer, std::string endless = "")
      : answer_(std::move(answer)), endless_(std::move(endless)), thread_([this] { Serve(); }) {}
  AnsweringServer(const AnsweringServer&) = delete;
  AnsweringServer& operator=(const AnsweringServer&) = delete;
  ~AnsweringServer() { thread_.join(); }

  std::uint16_t port() const { return port_.number(); }
  // What was repeated. Requires: the call has ended.
  std::size_t Repeated() {
    thread_.join();
    thread_ = std::thread([] {});
    return repeated_;
  }

 private:
  void Serve() {
    const auto connection = port_.Accept();
    char request[4096];
    // Its body ends the request, and comes with its head.
    std::string text;
    while (text.find("\r\n\r\n{") == std::string::npos || !text.ends_with('}')) {
      const ssize_t size = recv(connection.Get(), request, sizeof request, 0);
      if (size <= 0) return;
      text.append(request, static_cast<std::size_t>(size));
    }
    bool open = Send(connection.Get(), answer_);
    while (open && !endless_.empty()) {
      open = Send(connection.Get(), endless_);
      repeated_ += endless_.size();
    }
  }
  static bool Send(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t size = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (size <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(size));
    }
    return true;
  }

  const std::string answer_;
  const std::string endless_;
  const ListeningPort port_;
  std::size_t repeated_ = 0;
  std::thread thread_;
};

}  // namespace Testing

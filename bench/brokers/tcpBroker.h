#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "bench/brokers/broker.h"
#include "testing/childProcess.h"

namespace Brokers {

// The bytes of a protocol in which both sides use plain TCP.
struct Protocol {
  std::string subscribe;  // all that a subscriber sends
  std::string hello;      // what a publisher sends first
  std::function<std::string(std::size_t textSize)> before;
  std::string after;  // what stands around a published text
};

// A server that listens on one port, and its one publisher.
class TcpBroker final : public Broker {
 public:
  // Comes back when the server accepts connections; throws if it doesn't.
  TcpBroker(std::vector<std::string> command, std::uint16_t port, Protocol protocol);

  pid_t Process() const override { return process_.pid(); }
  Corvane::FileDescriptor Subscribe() override;
  void Publish(std::string_view text) override;
  std::vector<int> Answers() const override { return {publisher_.Get()}; }

 private:
  const std::uint16_t port_;
  const Protocol protocol_;
  Testing::ChildProcess process_;
  Corvane::FileDescriptor publisher_;
  std::string packet_;  // kept for its memory
};

}  // namespace Brokers

#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "testing/daemon.h"

namespace Testing {

// VMs that publish, keep what they published, and publish it again when they are asked for their past. Each
// sends one text at a time, as fast as it may, and again until that is acknowledged.
class PastGuests final {
 public:
  PastGuests(std::uint32_t vmPort, std::uint32_t firstCid, std::uint32_t count);

  // Each VM publishes so many texts, under topics that nobody else has: "TOPIC.CID.NUMBER".
  void Publish(int times, const std::string& topic = "app", const std::string& payload = "aGk=");
  // Until the daemon has acknowledged them all; false if that doesn't happen in time.
  bool WaitUntilPublished() const;
  // The topics of what was published.
  std::set<std::string> Topics() const;

 private:
  using Clock = std::chrono::steady_clock;

  struct Text {
    std::string topic;
    std::string payload;
    std::string moreHeader;
  };
  struct Kept {
    Text text;
    Clock::time_point time;
  };
  struct Guest {
    explicit Guest(std::uint32_t cid);

    Vm vm;
    Krell::GuestSocket socket;
    std::deque<Text> waiting;
    std::vector<Kept> kept;
    std::uint64_t sequence = 1;
    bool sent = false;
    Clock::time_point nextSend{};
  };

  void Run(const std::stop_token& stop);
  void Receive(Guest& guest);
  void Send(Guest& guest) const;
  static void OnAcknowledgement(Guest& guest, std::string_view text);
  static void OnRequest(Guest& guest, std::string_view text);

  const std::uint32_t vmPort_;
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<Guest>> guests_;
  int number_ = 0;
  std::set<std::string> topics_;
  std::jthread thread_;
};

}  // namespace Testing

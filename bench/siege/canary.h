#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/siege/time.h"
#include "testing/daemon.h"

namespace Siege {

class Target;

// The VMs whose publications must come through: each publishes once a second, which is half of its allowance.
inline constexpr std::uint32_t kFirstCanaryCid = 100;
inline constexpr std::uint32_t kCanaryVms = 20;

// What the victims noticed. What has no time was lost.
struct CanaryFigures {
  std::uint64_t sent = 0;
  std::vector<double> ackMs;       // from the guest's send; ascending
  std::vector<double> deliveryMs;  // to the stream's read; ascending
  unsigned newcomersTried = 0;
  unsigned newcomersIn = 0;
  double slowestNewcomerMs = 0;
};

// Guests that publish, a stream that's already there and has to get all of it, and new subscribers that come
// one after another. Everyone has a thread, and all of them better priority than the attackers.
class Canary {
 public:
  // Comes back when the stream is open. Requires: the VMs are there.
  explicit Canary(const Target& target);
  // Ends all of it, and counts what was sent until then.
  CanaryFigures Stop();

 private:
  struct Sent {
    Clock::time_point at;
    double ackMs = -1;
    double deliveryMs = -1;
  };

  void Publish();
  void SendOne(std::vector<Krell::GuestSocket>& guests);
  void TakeAcknowledgements(std::vector<Krell::GuestSocket>& guests, Clock::time_point until);
  void Acknowledge(const std::string& text);
  void Receive(std::uint64_t sequence);
  void ReadStream();
  void ReceiveNewcomers();
  bool ComesIn() const;

  const std::uint16_t port_;
  const std::uint32_t vmPort_;
  std::atomic<bool> stopNewcomers_{false};
  std::atomic<bool> stop_{false};
  // Sequences: the stream's first, its newest, and the last one that counts. Later ones only wake up the
  // reader.
  std::atomic<std::uint64_t> first_{0};
  std::atomic<std::uint64_t> lastReceived_{0};
  std::atomic<std::uint64_t> lastCounted_{UINT64_MAX};
  std::mutex sentMutex_;
  std::vector<Sent> sent_;  // by sequence
  unsigned newcomersTried_ = 0;
  unsigned newcomersIn_ = 0;
  double slowestNewcomerMs_ = 0;
  std::thread publisher_;
  std::thread reader_;
  std::thread newcomers_;
};

}  // namespace Siege

#pragma once

#include <stop_token>
#include <string>
#include <vector>

#include "fleet/forward/counters.h"
#include "fleet/forward/publisher.h"
#include "fleet/forward/sendQueue.h"
#include "fleet/stream/retryDelay.h"

namespace Fleet {

// Brings what is in the queue into JetStream, in batches, each again until all of it is stored.
class Sender final {
 public:
  Sender(SendQueue& queue, Publisher& publisher, Counters& counters);

  // Until a stop is asked for; then it sends what is left, unless NATS is away.
  void Run(const std::stop_token& stop);

 private:
  void TryBatch();
  void Settle(const PublishResult& result);
  void OnTrouble(const std::string& reason, bool forbidden);
  void OnSuccess();

  SendQueue& queue_;
  Publisher& publisher_;
  Counters& counters_;
  std::vector<Outgoing> batch_;
  RetryDelay delay_;
  RetryDelay slowDelay_;
  std::chrono::milliseconds wait_{0};
  std::string told_;
};

}  // namespace Fleet

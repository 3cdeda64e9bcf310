#pragma once

#include <atomic>
#include <compare>
#include <cstdint>

namespace Fleet {

// What the forwarder has done since its start. Written by its threads, read by the one that tells of it.
struct Counters {
  std::atomic<std::uint64_t> stored{0};         // acknowledged by JetStream
  std::atomic<std::uint64_t> duplicates{0};     // of these, those that the stream had already
  std::atomic<std::uint64_t> unstorable{0};     // larger than the server or the stream takes: given up
  std::atomic<std::uint64_t> retries{0};        // messages sent once more
  std::atomic<std::uint64_t> interruptions{0};  // of the daemon's stream
  std::atomic<std::uint64_t> gaps{0};           // that guests were asked to fill
  std::atomic<std::uint64_t> overflows{0};      // of the queue
  std::atomic<std::uint64_t> drops{0};          // queues that the daemon has dropped, of any subscriber
};

}  // namespace Fleet

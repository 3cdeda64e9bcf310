#pragma once

#include <nats/nats.h>

#include <chrono>
#include <cstdint>
#include <optional>

namespace Fleet {

// How far a reader has come in a stream, and where it goes on.
class StreamPosition final {
 public:
  // Begins that long before now, or with what comes from now on.
  explicit StreamPosition(std::optional<std::chrono::seconds> since);

  // Looks at the stream as it is now. One that has been made anew begins again; one whose end was lost with a
  // server goes on behind what is left.
  void LookAt(const jsStreamInfo& stream);
  // Requires: LookAt.
  void Begin(jsConsumerConfig& consumer) const;
  // False for a message that the reader has had.
  bool Take(std::uint64_t sequence);

 private:
  const std::optional<std::chrono::nanoseconds> beginTime_;
  std::int64_t created_ = 0;
  std::uint64_t next_ = 0;  // 0: as beginTime_ says
};

}  // namespace Fleet

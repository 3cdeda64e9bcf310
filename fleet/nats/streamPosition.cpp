#include "fleet/nats/streamPosition.h"

namespace Fleet {
namespace {

std::optional<std::chrono::nanoseconds> TimeBefore(std::optional<std::chrono::seconds> since) {
  if (!since) return std::nullopt;
  return std::chrono::system_clock::now().time_since_epoch() - *since;
}

}  // namespace

StreamPosition::StreamPosition(std::optional<std::chrono::seconds> since) : beginTime_(TimeBefore(since)) {}

void StreamPosition::LookAt(const jsStreamInfo& stream) {
  const bool first = created_ == 0;
  const bool anew = !first && created_ != stream.Created;
  created_ = stream.Created;
  const auto end = stream.State.LastSeq + 1;
  if (anew) {
    next_ = 1;
  } else if ((first && !beginTime_) || next_ > end) {
    next_ = end;
  }
}

void StreamPosition::Begin(jsConsumerConfig& consumer) const {
  if (next_ == 0) {
    consumer.DeliverPolicy = js_DeliverByStartTime;
    consumer.OptStartTime = beginTime_->count();
  } else {
    consumer.DeliverPolicy = js_DeliverByStartSequence;
    consumer.OptStartSeq = next_;
  }
}

bool StreamPosition::Take(std::uint64_t sequence) {
  if (sequence < next_) return false;
  next_ = sequence + 1;
  return true;
}

}  // namespace Fleet

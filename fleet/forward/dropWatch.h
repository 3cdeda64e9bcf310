#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "fleet/forward/counters.h"
#include "fleet/forward/coverage.h"
#include "fleet/stream/call.h"

namespace Fleet {

// The daemon drops the queue of a subscriber that is too slow without a word to it; only its numbers say so,
// of all subscribers together.
class DropWatch final {
 public:
  DropWatch(Caller caller, Coverage& coverage, Counters& counters);

  // Looks at the numbers. Whether the guests should be asked again now, for what may have been dropped: that
  // becomes rarer if it goes on and on, as it may be another subscriber's.
  bool Look();

 private:
  struct Numbers {
    std::string startTime;
    std::uint64_t droppedQueues = 0;
  };

  std::optional<Numbers> Fetch();
  bool HasGrown(const Numbers& now);
  static Numbers Read(const std::string& json);

  const Caller caller_;
  Coverage& coverage_;
  Counters& counters_;
  std::optional<Numbers> last_;
  Moment nextAsk_{};
  std::chrono::seconds interval_;
  bool told_ = false;
};

}  // namespace Fleet

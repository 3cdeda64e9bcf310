#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>

namespace Fleet {

// Moments are of the clock that nobody sets; the time of day is for what outlives the process.
using Moment = std::chrono::steady_clock::time_point;
using WallTime = std::chrono::system_clock::time_point;

// How far into the past the guests have to be asked.
struct Gap {
  std::int64_t pastSeconds = 0;
  std::chrono::seconds lost{0};  // what lies beyond the most that is asked for
};

// Rounded up, with slack for what was under way and for clocks that differ.
Gap GapSince(Moment covered, Moment now, std::chrono::seconds mostGap);

// The moment that was then, by the clocks as they are now. A time in the future can only mean that the clock
// was set: nobody knows how long ago it was, so that it gives the longest gap.
Moment MomentOf(WallTime time, WallTime wallNow, Moment now, std::chrono::seconds mostGap);

// Until when everything that guests published has come from the daemon. A stream begins with history for what
// was missed before it, and that counts as had when no more of it has come for a while. What the daemon may
// have dropped isn't had before the stream has begun anew. From any thread.
class Coverage final {
 public:
  explicit Coverage(Moment covered);

  // A subscription that asks for everything since covered().
  void BeginRound();
  // It stands, again after an interruption of which it asks for the gap itself.
  void OnOpen(Moment now, bool withGap);
  void OnInterrupted();
  void OnHistory(Moment now);
  // The daemon said at that moment whether it has dropped a queue since the last look.
  void OnLook(Moment began, bool dropped);

  // Whether something was dropped since the round has begun.
  bool IsBroken() const;
  Moment covered() const;

 private:
  bool IsSettled(Moment now) const;

  mutable std::mutex mutex_;
  Moment covered_;
  bool connected_ = false;
  bool opened_ = false;  // at least once in this round
  bool withGap_ = false;
  bool broken_ = false;
  Moment openedAt_{};
  Moment lastHistory_{};
  Moment whole_{};  // until then nothing was dropped in this round
};

}  // namespace Fleet

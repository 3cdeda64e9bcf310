#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>

#include "fleet/exporter/bodyPipe.h"
#include "fleet/exporter/newestPublications.h"
#include "fleet/exporter/publicationEvent.h"
#include "platform/corvane/mutex.h"

namespace Fleet {

// The newest publications, and the viewers that see each new one as it comes. A viewer who is too slow, or
// for whom too many come, is told how many were left out. From any thread.
class EventStreams final {
 public:
  using Time = std::chrono::steady_clock::time_point;
  // Whether the viewer may still look.
  using Permission = std::function<bool()>;

  // Nothing if there are too many viewers.
  std::shared_ptr<BodyPipe> Open(EventFilter filter, Permission permission, Time now);
  void Add(PublicationEvent event, Time now);
  // Heartbeats, what was left out, and the end of viewers without permission. To be called each second.
  void Tick(Time now);

  std::uint64_t Skipped() const;

 private:
  struct Viewer {
    EventFilter filter;
    Permission permission;
    std::shared_ptr<BodyPipe> pipe;
    Time second;  // when the count began
    unsigned sent = 0;
    std::uint64_t skipped = 0;
    Time lastWord;
  };

  void Offer(Viewer& viewer, const PublicationEvent& event, std::string& text, Time now)
      CORVANE_REQUIRES(mutex_);
  static bool Write(Viewer& viewer, const std::string& text, Time now);

  mutable Corvane::Mutex mutex_;
  NewestPublications newest_ CORVANE_GUARDED_BY(mutex_);
  std::list<Viewer> viewers_ CORVANE_GUARDED_BY(mutex_);
  std::uint64_t skipped_ CORVANE_GUARDED_BY(mutex_) = 0;
};

}  // namespace Fleet

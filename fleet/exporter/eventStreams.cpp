#include "fleet/exporter/eventStreams.h"

#include <utility>

#include "fleet/exporter/bounds.h"

namespace Fleet {

std::shared_ptr<BodyPipe> EventStreams::Open(EventFilter filter, Permission permission, Time now) {
  const Corvane::MutexLock lock(mutex_);
  viewers_.remove_if([](const Viewer& viewer) { return viewer.pipe->HasEnded(); });
  if (viewers_.size() >= kMostViewers) return nullptr;
  auto pipe = std::make_shared<BodyPipe>(kViewerBytes);
  auto& viewer =
      viewers_.emplace_back(Viewer{std::move(filter), std::move(permission), pipe, now, 0, 0, now});
  // So that the browser knows at once that it is connected.
  Write(viewer, ":\n\n", now);
  for (const auto& event : newest_.Matching(viewer.filter, kFirstEvents)) {
    if (!Write(viewer, EventText(*event), now)) ++viewer.skipped, ++skipped_;
  }
  return pipe;
}

void EventStreams::Add(PublicationEvent event, Time now) {
  const auto kept = std::make_shared<const PublicationEvent>(std::move(event));
  // Made once for all viewers, and only if there are any.
  std::string text;
  const Corvane::MutexLock lock(mutex_);
  newest_.Add(kept);
  for (auto& viewer : viewers_) {
    if (viewer.filter.Matches(*kept)) Offer(viewer, *kept, text, now);
  }
}

void EventStreams::Offer(Viewer& viewer, const PublicationEvent& event, std::string& text, Time now) {
  if (now - viewer.second >= std::chrono::seconds(1)) {
    viewer.second = now;
    viewer.sent = 0;
  }
  if (viewer.sent < kEventsPerSecond) {
    if (text.empty()) text = EventText(event);
    // The count of those left out stands where they would have been.
    const auto before = viewer.skipped == 0 ? std::string() : SkippedText(viewer.skipped);
    if (Write(viewer, before + text, now)) {
      viewer.skipped = 0;
      ++viewer.sent;
      return;
    }
  }
  ++viewer.skipped;
  ++skipped_;
}

void EventStreams::Tick(Time now) {
  const Corvane::MutexLock lock(mutex_);
  for (auto& viewer : viewers_) {
    if (!viewer.permission()) viewer.pipe->End();
    if (viewer.skipped != 0 && Write(viewer, SkippedText(viewer.skipped), now)) viewer.skipped = 0;
    if (now - viewer.lastWord >= kHeartbeat) Write(viewer, ":\n\n", now);
  }
  viewers_.remove_if([](const Viewer& viewer) { return viewer.pipe->HasEnded(); });
}

std::uint64_t EventStreams::Skipped() const {
  const Corvane::MutexLock lock(mutex_);
  return skipped_;
}

bool EventStreams::Write(Viewer& viewer, const std::string& text, Time now) {
  if (!viewer.pipe->Write(text)) return false;
  viewer.lastWord = now;
  return true;
}

}  // namespace Fleet

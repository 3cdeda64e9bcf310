#include "fleet/exporter/newestPublications.h"

#include <algorithm>
#include <utility>

#include "fleet/exporter/bounds.h"

namespace Fleet {

void NewestPublications::Add(std::shared_ptr<const PublicationEvent> event) {
  bytes_ += event->Size();
  events_.push_back(std::move(event));
  while (events_.size() > kMostNewest || bytes_ > kMostNewestBytes) {
    bytes_ -= events_.front()->Size();
    events_.pop_front();
  }
}

std::vector<std::shared_ptr<const PublicationEvent>> NewestPublications::Matching(const EventFilter& filter,
                                                                                  std::size_t most) const {
  std::vector<std::shared_ptr<const PublicationEvent>> matching;
  for (auto event = events_.rbegin(); event != events_.rend() && matching.size() < most; ++event) {
    if (filter.Matches(**event)) matching.push_back(*event);
  }
  std::reverse(matching.begin(), matching.end());
  return matching;
}

}  // namespace Fleet

#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

#include "fleet/exporter/publicationEvent.h"

namespace Fleet {

// The newest publications, within bounds of number and bytes. For one thread at a time.
class NewestPublications final {
 public:
  void Add(std::shared_ptr<const PublicationEvent> event);
  // The newest of those that match, at most so many, the oldest of them first.
  std::vector<std::shared_ptr<const PublicationEvent>> Matching(const EventFilter& filter,
                                                                std::size_t most) const;

 private:
  std::deque<std::shared_ptr<const PublicationEvent>> events_;
  std::size_t bytes_ = 0;
};

}  // namespace Fleet

#include "guest/agent/sending/schedule.h"

#include <algorithm>
#include <utility>

namespace GuestAgent {

Schedule::Entry Schedule::Topic::TakeFirst() {
  const bool isLatestFirst = latest && (events.empty() || latest->sequence < events.front().sequence);
  if (isLatestFirst) return *std::exchange(latest, std::nullopt);
  const Entry first = events.front();
  events.pop_front();
  return first;
}

bool Schedule::Reserve(Owner owner, std::size_t bytes) {
  const auto found = uses_.find(owner);
  const Use use = found == uses_.end() ? Use{} : found->second;
  if (items_ + 1 > bounds_.items || bytes_ + bytes > bounds_.bytes) return false;
  const bool isWithinShare =
      use.items + 1 <= bounds_.items - items_ - 1 && use.bytes + bytes <= bounds_.bytes - bytes_ - bytes;
  if (!isWithinShare) return false;
  Charge(owner, bytes);
  return true;
}

void Schedule::Charge(Owner owner, std::size_t bytes) {
  Use& use = uses_[owner];
  ++use.items;
  use.bytes += bytes;
  ++items_;
  bytes_ += bytes;
}

void Schedule::Release(Owner owner, std::size_t bytes) {
  const auto use = uses_.find(owner);
  --items_;
  bytes_ -= bytes;
  use->second.bytes -= bytes;
  if (--use->second.items == 0) uses_.erase(use);
}

Schedule::Share& Schedule::ShareOf(Owner owner) {
  const auto found =
      std::find_if(shares_.begin(), shares_.end(), [&](const Share& share) { return share.owner == owner; });
  if (found != shares_.end()) return *found;
  shares_.push_back({owner, {}, {}});
  return shares_.back();
}

std::optional<Schedule::Taken> Schedule::Replace(const std::string& topic) {
  for (auto share = shares_.begin(); share != shares_.end(); ++share) {
    const auto found = share->byName.find(topic);
    if (found == share->byName.end() || !found->second->latest) continue;
    const Taken replaced{share->owner, topic, *std::exchange(found->second->latest, std::nullopt)};
    Release(replaced.owner, replaced.entry.bytes);
    DropIfEmpty(share, found->second);
    return replaced;
  }
  return std::nullopt;
}

std::optional<Schedule::Taken> Schedule::Add(Owner owner, const std::string& topic, const Entry& entry) {
  // Whoever may publish under a topic may replace what others have published there.
  auto replaced = entry.isLatest ? Replace(topic) : std::nullopt;
  Share& share = ShareOf(owner);
  auto found = share.byName.find(topic);
  if (found == share.byName.end()) {
    share.topics.push_back({topic, {}, {}});
    found = share.byName.emplace(topic, std::prev(share.topics.end())).first;
  }
  if (entry.isLatest) {
    found->second->latest = entry;
  } else {
    found->second->events.push_back(entry);
  }
  return replaced;
}

std::optional<Schedule::Taken> Schedule::Take() {
  if (shares_.empty()) return std::nullopt;
  const auto share = shares_.begin();
  const auto topic = share->topics.begin();
  Taken taken{share->owner, topic->name, topic->TakeFirst()};
  // Both have had their turn.
  share->topics.splice(share->topics.end(), share->topics, topic);
  shares_.splice(shares_.end(), shares_, share);
  DropIfEmpty(share, topic);
  return taken;
}

void Schedule::DropIfEmpty(std::list<Share>::iterator share, std::list<Topic>::iterator topic) {
  if (!topic->IsEmpty()) return;
  share->byName.erase(topic->name);
  share->topics.erase(topic);
  if (share->topics.empty()) shares_.erase(share);
}

bool Schedule::HasLatest(const std::string& topic) const {
  return std::any_of(shares_.begin(), shares_.end(), [&](const Share& share) {
    const auto found = share.byName.find(topic);
    return found != share.byName.end() && found->second->latest.has_value();
  });
}

}  // namespace GuestAgent

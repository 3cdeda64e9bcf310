#include "apps/nornhesperd/registry.h"

#include <unordered_map>
#include <utility>
#include <vector>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/publication.h"
#include "framework/transport/connection/inbox.h"

namespace NornHesper {

using Corvane::System::Synchronized;

PublishOutcome Registry::Publish(const char* text, std::size_t length, const CidInfoPtr& cidInfo) {
  const auto publication = std::make_shared<Publication>(text, length, cidInfo);
  PublishOutcome outcome;
  outcome.errors = publication->Parse();
  outcome.hasSequence = publication->hasSequence;
  outcome.sequence = publication->sequence;
  outcome.fault = publication->fault;
  if (!outcome.errors.HasErrors()) {
    Mirel::Asio::Inbox::Of(GlobalContext::Get()->GetIoService()).Post([this, publication] {
      Dispatch(publication);
    });
  }
  return outcome;
}

std::uint64_t Registry::Register(PublicationCb callback, RepeatedPublicationCb repeated) {
  SnapshotPtr outdated;
  const Synchronized lock(this);
  outdated.swap(snapshot_);
  const std::uint64_t id = nextSubscriptionId_++;
  subscriptions_.emplace(
      id, std::make_shared<const Subscription>(Subscription{std::move(callback), std::move(repeated)}));
  return id;
}

void Registry::Unregister(std::uint64_t id) {
  // Destroyed after the lock: either may have a stream's last reference.
  decltype(subscriptions_)::node_type removed;
  SnapshotPtr outdated;
  const Synchronized lock(this);
  removed = subscriptions_.extract(id);
  outdated.swap(snapshot_);
}

Registry::Counts Registry::GetCounts() {
  const Synchronized lock(this);
  return {subscriptions_.size(), nextSubscriptionId_};
}

// The callables are run outside of the lock, as they take their streams' locks and may end up here again.
void Registry::Dispatch(const PublicationPtr& publication) {
  if (publication->subscribers.empty()) {
    for (const SnapshotPtr all = SelectAll(); const auto& subscription : *all) {
      subscription->callback(publication);
    }
    return;
  }
  for (const auto& [subscription, times] : SelectListed(publication->subscribers)) {
    if (times == 1) {
      subscription->callback(publication);
    } else {
      subscription->repeated(publication, times);
    }
  }
}

Registry::SnapshotPtr Registry::SelectAll() {
  const Synchronized lock(this);
  if (!snapshot_) {
    auto snapshot = std::make_shared<Snapshot>();
    snapshot->reserve(subscriptions_.size());
    for (const auto& [id, subscription] : subscriptions_) snapshot->push_back(subscription);
    snapshot_ = std::move(snapshot);
  }
  return snapshot_;
}

// In the order of the list, and with its repetitions: these are a guest's choice, tens of thousands in one
// text, so that each of them must not cost more than a look-up and a counter here.
//
// A repetition that is counted is offered where the list names the subscription first, ahead of what is
// between. Nobody can tell: what a stream makes of an offer depends on earlier offers to itself alone; it
// starts to send with the first one if at all, as no client has a turn while a dispatch runs; and the first
// ones keep the list's order.
std::vector<Registry::Offer> Registry::SelectListed(const std::vector<std::uint64_t>& ids) {
  std::vector<Offer> offers;
  std::unordered_map<std::uint64_t, std::size_t>
      places;  // in the offers; of live subscriptions alone, which are few
  const Synchronized lock(this);
  for (const std::uint64_t id : ids) {
    if (const auto place = places.find(id); place != places.end()) {
      ++offers[place->second].times;
    } else if (const auto found = subscriptions_.find(id); found != subscriptions_.end()) {
      if (found->second->repeated) places.emplace(id, offers.size());
      offers.push_back({found->second});
    }
  }
  return offers;
}

}  // namespace NornHesper

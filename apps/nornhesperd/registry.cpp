#include "apps/nornhesperd/registry.h"

#include <boost/asio/post.hpp>
#include <utility>
#include <vector>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/publication.h"

namespace NornHesper {

using Corvane::System::Synchronized;

PublishOutcome Registry::Publish(const char* text, size_t length, const CidInfoPtr& cidInfo) {
  const auto publication = std::make_shared<Publication>(text, length, cidInfo);
  PublishOutcome outcome;
  outcome.errors = publication->Parse();
  outcome.hasSequence = publication->hasSequence;
  outcome.sequence = publication->sequence;
  if (!outcome.errors.HasErrors()) {
    boost::asio::post(GlobalContext::Get()->GetIoService(), [this, publication] { Dispatch(publication); });
  }
  return outcome;
}

uint64_t Registry::Register(PublicationCb callback) {
  const Synchronized lock(this);
  const uint64_t id = nextSubscriptionId_++;
  subscriptions_.emplace(id, std::move(callback));
  return id;
}

void Registry::Unregister(uint64_t id) {
  decltype(subscriptions_)::node_type
      removed;  // destroyed behind the lock: it may be a stream's last reference
  const Synchronized lock(this);
  removed = subscriptions_.extract(id);
}

void Registry::Dispatch(const PublicationPtr& publication) {
  // The callables are run outside of the lock, as they take their streams' locks and may end up here again.
  for (const PublicationCb& callback : SelectSubscriptions(*publication)) {
    callback(publication);
  }
}

std::vector<PublicationCb> Registry::SelectSubscriptions(const Publication& publication) {
  std::vector<PublicationCb> selected;
  const Synchronized lock(this);
  if (publication.subscribers.empty()) {
    selected.reserve(subscriptions_.size());
    for (const auto& [id, callback] : subscriptions_) {
      selected.push_back(callback);
    }
    return selected;
  }
  for (const uint64_t id : publication.subscribers) {
    if (const auto found = subscriptions_.find(id); found != subscriptions_.end()) {
      selected.push_back(found->second);
    }
  }
  return selected;
}

}  // namespace NornHesper

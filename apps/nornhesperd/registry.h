#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "apps/nornhesperd/cidInfo.h"
#include "apps/nornhesperd/publicationFault.h"
#include "apps/nornhesperd/result.h"
#include "platform/corvane/object.h"

namespace NornHesper {

class Publication;
using PublicationPtr = std::shared_ptr<Publication>;

// All that a subscription is to the Registry. It runs on the I/O context, outside of the Registry's lock.
using PublicationCb = std::function<void(const PublicationPtr&)>;

// Does in one call what `times` calls of the subscription's PublicationCb in a row would do.
using RepeatedPublicationCb = std::function<void(const PublicationPtr&, std::uint64_t times)>;

// What became of a datagram's text.
struct PublishOutcome {
  Result errors;             // no records: accepted
  bool hasSequence = false;  // also for texts with a fault after their sequence
  std::uint64_t sequence = 0;
  PublicationFault fault = PublicationFault::None;
};

// The table of live subscriptions, and the way of publications to them.
//
// Invariants:
// 1. An id is in the table from Register to Unregister, and no id is ever given out twice.
// 2. Ids grow with the time of registration, so that the table's order is theirs.
// 3. No callback runs, and no subscription is destroyed, while the lock is held.
// 4. Dispatch runs on the I/O context alone; only finished publications come there.
class Registry final : public Corvane::System::LockableObjectImpl {
 public:
  // Parses the text on the calling thread and hands a good publication to the I/O context, from where it is
  // offered to the subscriptions it concerns. The text is copied and need not end in a NUL.
  PublishOutcome Publish(const char* text, std::size_t length, const CidInfoPtr& cidInfo);

  // Gives the subscription's id. Ids are never given out again. A publication whose list names one
  // subscription many times is as many calls of its callback, each in its place in the list, or one call of
  // `repeated` in the place of the first, where there is one.
  std::uint64_t Register(PublicationCb callback, RepeatedPublicationCb repeated = nullptr);

  // An unknown id is no fault. A publication that is being dispatched can still reach the callable.
  void Unregister(std::uint64_t id);

  struct Counts {
    std::uint64_t current;
    std::uint64_t opened;
  };
  Counts GetCounts();

 private:
  struct Subscription {
    PublicationCb callback;
    RepeatedPublicationCb repeated;  // may be empty
  };
  using SubscriptionPtr = std::shared_ptr<const Subscription>;
  struct Offer {
    SubscriptionPtr subscription;
    std::uint64_t times = 1;
  };

  // Never changed once it is made, so that a dispatch can walk it outside of the lock.
  using Snapshot = std::vector<SubscriptionPtr>;
  using SnapshotPtr = std::shared_ptr<const Snapshot>;

  void Dispatch(const PublicationPtr& publication);
  SnapshotPtr SelectAll();  // in ascending order of id
  std::vector<Offer> SelectListed(const std::vector<std::uint64_t>& ids);

  std::map<std::uint64_t, SubscriptionPtr> subscriptions_ CORVANE_GUARDED_BY(this);
  // Of the table as it is; null from a change of it to the next dispatch.
  SnapshotPtr snapshot_ CORVANE_GUARDED_BY(this);
  std::uint64_t nextSubscriptionId_ CORVANE_GUARDED_BY(this) = 0;
};

}  // namespace NornHesper

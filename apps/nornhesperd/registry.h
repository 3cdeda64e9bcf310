#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "apps/nornhesperd/cidInfo.h"
#include "apps/nornhesperd/result.h"
#include "platform/corvane/object.h"

namespace NornHesper {

class Publication;
using PublicationPtr = std::shared_ptr<Publication>;

// All that a subscription is to the Registry. It runs on the I/O context, outside of the Registry's lock.
using PublicationCb = std::function<void(const PublicationPtr&)>;

// What became of a datagram's text.
struct PublishOutcome {
  Result errors;             // no records: accepted
  bool hasSequence = false;  // also for texts with a fault behind their sequence
  uint64_t sequence = 0;
};

// The table of live subscriptions, and the way of publications to them.
class Registry : public Corvane::System::LockableObjectImpl {
 public:
  // Parses the text on the calling thread and hands a good publication to the I/O context, from where it is
  // offered to the subscriptions it concerns. The text is copied and need not end in a NUL.
  PublishOutcome Publish(const char* text, size_t length, const CidInfoPtr& cidInfo);

  // Gives the subscription's id. Ids are never given out again.
  uint64_t Register(PublicationCb callback);

  // An unknown id is no fault. A publication that is being dispatched can still reach the callable.
  void Unregister(uint64_t id);

 private:
  void Dispatch(const PublicationPtr& publication);
  // In ascending order of id for a live publication, otherwise in the order of its list, repetitions
  // included.
  std::vector<PublicationCb> SelectSubscriptions(const Publication& publication);

  std::map<uint64_t, PublicationCb> subscriptions_;
  uint64_t nextSubscriptionId_ = 0;
};

}  // namespace NornHesper

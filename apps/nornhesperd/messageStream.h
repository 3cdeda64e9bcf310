#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "apps/nornhesperd/cidInfo.h"
#include "apps/nornhesperd/counters.h"
#include "apps/nornhesperd/historyRequestor.h"
#include "apps/nornhesperd/publication.h"
#include "bindings/guestDataService.h"
#include "platform/corvane/object.h"

namespace Com::Tessaly::Norn::Hesper::GuestDataSvc {

// One open subscription: its filter, a bounded queue for a client that is slower than the guests, and the
// flow control that keeps one publication at a time on its way to the client. All of it runs on the I/O
// thread.
//
// The Registry's entry and the continuation that the transport holds keep it alive. It ends when a write to
// the client has failed; an idle stream doesn't learn that its client has gone until its next element.
class MessageStream final : public Corvane::System::LockableObjectImpl, private ::Mirel::Data::Backlog {
 public:
  MessageStream(const VmIdentifierType& vmIdType, const std::optional<std::set<std::string>>& vmIds,
                const NornHesper::OptionalStringVector& topicPrefixes, std::int64_t pastSeconds,
                const ResultCb& result);

  void RegisterSubscription();

  // Asks the guests that this subscription takes publications from for their past; their answers come back
  // as publications addressed to this subscription.
  void RequestHistory();

  // Takes a publication that has passed the filter, so many times (at least once). Neither the cost nor
  // the memory depends on how many.
  void EnquePublication(const NornHesper::PublicationPtr& publication, std::uint64_t times = 1);

 private:
  // Publications that are sent one after the other, all of them the same one.
  struct Run {
    NornHesper::PublicationPtr publication;
    std::uint64_t length;
  };

  void Offer(const NornHesper::PublicationPtr& publication, std::uint64_t times);
  bool TakesVm(const NornHesper::CidInfo& vm) const;
  bool TakesTopic(std::string_view topic) const;

  void Push(const NornHesper::PublicationPtr& publication, std::uint64_t times) CORVANE_REQUIRES(this);
  // So many drops, of so many publications in all.
  void DropQueue(std::uint64_t times, std::uint64_t publications) CORVANE_REQUIRES(this);
  // Sends the front of the queue.
  void StartSend() CORVANE_REQUIRES(this);
  void Send(NornHesper::PublicationPtr publication) CORVANE_REQUIRES(this);
  bool HasNext() const override;
  void UpdateResultCb(const ResultCbPtr& next);

  const VmIdentifierType vmIdType_;
  const std::optional<std::set<std::string>> vmIds_;
  // Sorted bytewise, duplicates kept.
  const NornHesper::OptionalStringVector topicPrefixes_;
  const std::int64_t pastSeconds_;
  NornHesper::ApiCounters& counters_;
  // Invariants:
  // 1. At most one publication is on its way: sending_ is set from Send to UpdateResultCb.
  // 2. With no sending_ the queue is empty.
  // 3. queued_ is the sum of the runs' lengths, and never above the limit of the settings and one.
  // 4. A publication is queued behind all that passed the filter before it; a dropped queue is dropped whole.
  // Takes the next element; replaced after every element.
  ResultCbPtr resultCb_ CORVANE_GUARDED_BY(this);
  std::uint64_t subscriptionId_ = 0;
  // On its way to the client; null when the stream is idle, and the queue is then empty.
  NornHesper::PublicationPtr sending_ CORVANE_GUARDED_BY(this);
  std::deque<Run> queue_ CORVANE_GUARDED_BY(this);
  // Publications in the queue. Changed under the lock, and read by the transport without it.
  std::atomic<std::uint64_t> queued_ = 0;
  // Drops that had no line of their own in the log, and when they may be logged.
  std::uint64_t untoldDrops_ CORVANE_GUARDED_BY(this) = 0;
  std::int64_t nextTellingOfDrops_ CORVANE_GUARDED_BY(this) = 0;  // monotonic microseconds
};

}  // namespace Com::Tessaly::Norn::Hesper::GuestDataSvc

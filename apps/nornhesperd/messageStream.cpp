#include "apps/nornhesperd/messageStream.h"

#include <algorithm>
#include <utility>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "apps/nornhesperd/publicationElements.h"
#include "lib/public/api/topicFilter.h"
#include "platform/corvane/system.h"

namespace Com::Tessaly::Norn::Hesper::GuestDataSvc {
namespace {

using Corvane::System::Synchronized;
using NornHesper::CidInfo;
using NornHesper::GlobalContext;
using NornHesper::PublicationPtr;

constexpr std::int64_t kDropTellingInterval = 1'000'000;  // microseconds

// One tracing line about a publication and this subscription.
#define TRACE_PUBLICATION(before, publication, after, id)                                                   \
  HESPER_LOG(7, before " publication {mgrVmId: %1, createTime: %2, topic: %3} " after " subscription %4",   \
             (publication)->cidInfo->mgrVmId, (publication)->createTime.ToString(), (publication)->Topic(), \
             id)

}  // namespace

MessageStream::MessageStream(const VmIdentifierType& vmIdType,
                             const std::optional<std::set<std::string>>& vmIds,
                             const NornHesper::OptionalStringVector& topicPrefixes, std::int64_t pastSeconds,
                             const ResultCb& result)
    : vmIdType_(vmIdType),
      vmIds_(vmIds),
      topicPrefixes_(topicPrefixes),
      pastSeconds_(pastSeconds),
      counters_(GlobalContext::Get()->GetCounters().api),
      resultCb_(std::make_shared<ResultCb>(result)) {}

void MessageStream::RegisterSubscription() {
  const auto offer = [self = Corvane::Ref<MessageStream>(this)](const PublicationPtr& publication,
                                                                std::uint64_t times = 1) {
    self->Offer(publication, times);
  };
  subscriptionId_ = GlobalContext::Get()->GetRegistry().Register(
      [offer](const PublicationPtr& publication) { offer(publication); }, offer);
}

void MessageStream::RequestHistory() {
  if (pastSeconds_ == 0) return;
  if (topicPrefixes_ && topicPrefixes_->empty()) return;
  std::vector<std::shared_ptr<CidInfo>> vms;
  if (GlobalContext::Get()->GetCidCache().Collect(vms).HasErrors()) return;
  std::vector<unsigned int> cids;
  for (const auto& vm : vms) {
    if (TakesVm(*vm)) cids.push_back(vm->cid);
  }
  if (cids.empty()) return;
  NornHesper::HistoryRequestorNotifyGuests(subscriptionId_, static_cast<std::uint64_t>(pastSeconds_), cids,
                                           topicPrefixes_);
}

bool MessageStream::TakesVm(const CidInfo& vm) const {
  return !vmIds_ || vmIds_->contains(NornHesper::VmIdentifier(vm, vmIdType_));
}

bool MessageStream::TakesTopic(std::string_view topic) const {
  return !topicPrefixes_ || NornHesper::TopicMatches(topic, *topicPrefixes_);
}

void MessageStream::Offer(const PublicationPtr& publication, std::uint64_t times) {
  if (TakesVm(*publication->cidInfo) && TakesTopic(publication->Topic())) {
    EnquePublication(publication, times);
  }
}

void MessageStream::EnquePublication(const PublicationPtr& publication, std::uint64_t times) {
  Synchronized lock(this);
  if (!sending_) {  // and so the queue is empty
    Send(publication);
    if (--times == 0) return;
  }
  // One more than the limit is kept; the next one drops them all and is the first of a new queue. The limit
  // is unsigned, so that a negative setting means a queue that is never dropped.
  const auto limit = static_cast<std::uint32_t>(GlobalContext::Get()->GetConfigInfo().GetMirelQueueLimit());
  const std::uint64_t capacity = std::uint64_t{limit} + 1;
  const std::uint64_t room = capacity - std::min(queued_.load(), capacity);
  std::uint64_t kept = times;
  if (times > room) {
    const std::uint64_t drops = (times - room - 1) / capacity + 1;
    kept = times - room - (drops - 1) * capacity;
    DropQueue(drops, queued_ + times - kept);
  }
  Push(publication, kept);
  TRACE_PUBLICATION("Pushed", publication, "in Mirel client queue for", subscriptionId_);
  if (times > 1) HESPER_LOG(7, "Pushed it %1 times for subscription %2", times, subscriptionId_);
}

void MessageStream::Push(const PublicationPtr& publication, std::uint64_t times) {
  queue_.push_back({publication, times});
  queued_ += times;
}

// A guest can have a queue dropped thousands of times by one publication. These are one line, and a count of
// the others that is logged at most once a second.
void MessageStream::DropQueue(std::uint64_t times, std::uint64_t publications) {
  counters_.droppedQueues.Add(times);
  counters_.droppedPublications.Add(publications);
  std::deque<Run> dropped;
  dropped.swap(queue_);
  queued_ = 0;
  HESPER_LOG(6, "Dropped Mirel client queue for subscription %1", subscriptionId_);
  untoldDrops_ += times - 1;
  if (untoldDrops_ == 0) return;
  const std::int64_t now = Corvane::System::GetMonotonicTime();
  if (now < nextTellingOfDrops_) return;
  HESPER_LOG(6, "Mirel client queue for subscription %1 was dropped %2 more times by repetitions",
             subscriptionId_, untoldDrops_);
  untoldDrops_ = 0;
  nextTellingOfDrops_ = now + kDropTellingInterval;
}

bool MessageStream::HasNext() const {
  return queued_ != 0;
}

void MessageStream::StartSend() {
  Run& front = queue_.front();
  PublicationPtr publication = front.length == 1 ? std::move(front.publication) : front.publication;
  --queued_;
  if (--front.length == 0) queue_.pop_front();
  Send(std::move(publication));
}

void MessageStream::Send(PublicationPtr publication) {
  sending_ = std::move(publication);
  counters_.deliveries.Add();
  counters_.deliveredBytes.Add(sending_->text.size());
  TRACE_PUBLICATION("Sending", sending_, "to", subscriptionId_);
  const Corvane::Ref<MessageStream> self(this);
  resultCb_->result({sending_->elements.Get(sending_, vmIdType_), this},
                    [self](const ResultCbPtr& next) { self->UpdateResultCb(next); });
}

void MessageStream::UpdateResultCb(const ResultCbPtr& next) {
  if (!next) {
    GlobalContext::Get()->GetRegistry().Unregister(subscriptionId_);
    return;
  }
  Synchronized lock(this);
  TRACE_PUBLICATION("Sent", sending_, "to", subscriptionId_);
  sending_ = nullptr;
  resultCb_ = next;
  if (!queue_.empty()) StartSend();
}

}  // namespace Com::Tessaly::Norn::Hesper::GuestDataSvc

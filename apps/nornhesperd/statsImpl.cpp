#include "apps/nornhesperd/statsImpl.h"

#include "apps/nornhesperd/globalContext.h"
#include "framework/transport/connection/connectionTable.h"
#include "framework/transport/connection/descriptorsLeft.h"
#include "framework/transport/connection/inbox.h"
#include "platform/audit/audit.h"

namespace NornHesper {
namespace {

using namespace Com::Tessaly::Norn::Hesper;

std::int64_t ToLong(std::uint64_t number) {
  return static_cast<std::int64_t>(number);
}

std::int64_t ToLong(const Mirel::Counter& counter) {
  return ToLong(counter.Read());
}

PublicationStats ReadPublications(const IntakeCounters& intake) {
  return {.accepted = ToLong(intake.Texts(PublicationFault::None)),
          .acceptedBytes = ToLong(intake.acceptedBytes),
          .refusedJson = ToLong(intake.Texts(PublicationFault::Json)),
          .refusedHeader = ToLong(intake.Texts(PublicationFault::Header)),
          .refusedSchema = ToLong(intake.Texts(PublicationFault::Schema)),
          .refusedTime = ToLong(intake.Texts(PublicationFault::Time)),
          .refusedPayload = ToLong(intake.Texts(PublicationFault::Payload)),
          .refusedBytes = ToLong(intake.refusedBytes),
          .unknownCids = ToLong(intake.unknownCids),
          .acknowledgementsFailed = ToLong(intake.acknowledgementsFailed)};
}

CidCacheStats ReadCidCache(const CidCache::Counts& counts) {
  return {.entries = ToLong(counts.entries),
          .hits = ToLong(counts.hits),
          .misses = ToLong(counts.misses),
          .evictions = ToLong(counts.evictions)};
}

SubscriptionStats ReadSubscriptions(const Registry::Counts& counts, const ApiCounters& api) {
  return {.current = ToLong(counts.current),
          .opened = ToLong(counts.opened),
          .deliveries = ToLong(api.deliveries),
          .deliveredBytes = ToLong(api.deliveredBytes),
          .droppedQueues = ToLong(api.droppedQueues),
          .droppedPublications = ToLong(api.droppedPublications)};
}

LoginStats ReadLogins(const ApiCounters& api) {
  return {.refusedPassword = ToLong(api.refusedPasswords),
          .refusedUser = ToLong(api.refusedUsers),
          .refusedToken = ToLong(api.refusedTokens),
          .refusedEntitlement = ToLong(api.refusedEntitlements)};
}

ProcessStats ReadProcess(const Mirel::Asio::Inbox::Counts& posts) {
  return {.descriptors = ToLong(Mirel::Asio::DescriptorsInUse()),
          .postsWaiting = ToLong(posts.waiting),
          .longestPostWaitMicroseconds = posts.longestWait.count()};
}

}  // namespace

Stats StatsImpl::Get() const {
  GlobalContext* context = GlobalContext::Get();
  const auto& [intake, api] = context->GetCounters();
  const auto connections = context->GetConnections()->GetCounts();
  return {.startTime = context->GetStartTime(),
          .publications = ReadPublications(intake),
          .cidCache = ReadCidCache(context->GetCidCache().GetCounts()),
          .subscriptions = ReadSubscriptions(context->GetRegistry().GetCounts(), api),
          .history = {ToLong(api.historySent), ToLong(api.historyFailed)},
          .connections = {ToLong(connections.current), ToLong(connections.accepted)},
          .logins = ReadLogins(api),
          .audit = {ToLong(TessalyAudit_RecordsLost())},
          .process = ReadProcess(Mirel::Asio::Inbox::Of(context->GetIoService()).GetCounts())};
}

}  // namespace NornHesper

#include "bindings/statsAdapter.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace Mirel::Data {
namespace {

using namespace Com::Tessaly::Norn::Hesper;

DataValuePtr AdaptNumbers(const char* structure,
                          std::initializer_list<std::pair<const char*, std::int64_t>> fields) {
  auto value = StructValue::GetInstance(std::string("com.tessaly.norn.hesper.") + structure);
  for (const auto& [name, number] : fields) value->AppendField(name, DataValue::Create(number));
  return value;
}

DataValuePtr Adapt(const PublicationStats& native) {
  return AdaptNumbers("PublicationStats", {{"accepted", native.accepted},
                                           {"accepted_bytes", native.acceptedBytes},
                                           {"refused_json", native.refusedJson},
                                           {"refused_header", native.refusedHeader},
                                           {"refused_schema", native.refusedSchema},
                                           {"refused_time", native.refusedTime},
                                           {"refused_payload", native.refusedPayload},
                                           {"refused_bytes", native.refusedBytes},
                                           {"unknown_cids", native.unknownCids},
                                           {"acknowledgements_failed", native.acknowledgementsFailed}});
}

DataValuePtr Adapt(const CidCacheStats& native) {
  return AdaptNumbers("CidCacheStats", {{"entries", native.entries},
                                        {"hits", native.hits},
                                        {"misses", native.misses},
                                        {"evictions", native.evictions}});
}

DataValuePtr Adapt(const SubscriptionStats& native) {
  return AdaptNumbers("SubscriptionStats", {{"current", native.current},
                                            {"opened", native.opened},
                                            {"deliveries", native.deliveries},
                                            {"delivered_bytes", native.deliveredBytes},
                                            {"dropped_queues", native.droppedQueues},
                                            {"dropped_publications", native.droppedPublications}});
}

DataValuePtr Adapt(const HistoryStats& native) {
  return AdaptNumbers("HistoryStats",
                      {{"requests_sent", native.requestsSent}, {"requests_failed", native.requestsFailed}});
}

DataValuePtr Adapt(const ConnectionStats& native) {
  return AdaptNumbers("ConnectionStats", {{"current", native.current}, {"accepted", native.accepted}});
}

DataValuePtr Adapt(const LoginStats& native) {
  return AdaptNumbers("LoginStats", {{"refused_password", native.refusedPassword},
                                     {"refused_user", native.refusedUser},
                                     {"refused_token", native.refusedToken},
                                     {"refused_entitlement", native.refusedEntitlement}});
}

DataValuePtr Adapt(const AuditStats& native) {
  return AdaptNumbers("AuditStats", {{"records_lost", native.recordsLost}});
}

DataValuePtr Adapt(const ProcessStats& native) {
  return AdaptNumbers("ProcessStats",
                      {{"descriptors", native.descriptors},
                       {"posts_waiting", native.postsWaiting},
                       {"longest_post_wait_microseconds", native.longestPostWaitMicroseconds}});
}

DataValuePtr AdaptStats(const Stats& native, const L10n::RequestLocalizer&, MessageList&) {
  auto value = StructValue::GetInstance("com.tessaly.norn.hesper.Stats");
  value->AppendField("start_time", DataValue::Create(native.startTime.ToString()));
  value->AppendField("publications", Adapt(native.publications));
  value->AppendField("cid_cache", Adapt(native.cidCache));
  value->AppendField("subscriptions", Adapt(native.subscriptions));
  value->AppendField("history", Adapt(native.history));
  value->AppendField("connections", Adapt(native.connections));
  value->AppendField("logins", Adapt(native.logins));
  value->AppendField("audit", Adapt(native.audit));
  value->AppendField("process", Adapt(native.process));
  return value;
}

}  // namespace

AdaptFunction<Stats> AdaptMethod<Stats>::Get() {
  return &AdaptStats;
}

}  // namespace Mirel::Data

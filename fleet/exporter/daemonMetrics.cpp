#include "fleet/exporter/daemonMetrics.h"

#include <rapidjson/document.h>
#include <rapidjson/pointer.h>

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/corvane/dateTime.h"

namespace Fleet {
namespace {

using Type = MetricWriter::Type;

struct DaemonMetric {
  const char* pointer;
  std::string_view name;
  Type type;
  std::string_view help;
  std::string_view cause = {};  // value of the label; such metrics of one name follow one another
};

constexpr DaemonMetric kDaemonMetrics[] = {
    {"/publications/accepted", "nornhesperd_publications_accepted", Type::Counter, "Publications accepted."},
    {"/publications/accepted_bytes", "nornhesperd_publications_accepted_bytes", Type::Counter,
     "Bytes of accepted publications."},
    {"/publications/refused_json", "nornhesperd_publications_refused", Type::Counter,
     "Publications refused, by cause.", "json"},
    {"/publications/refused_header", "nornhesperd_publications_refused", Type::Counter, "", "header"},
    {"/publications/refused_schema", "nornhesperd_publications_refused", Type::Counter, "", "schema"},
    {"/publications/refused_time", "nornhesperd_publications_refused", Type::Counter, "", "time"},
    {"/publications/refused_payload", "nornhesperd_publications_refused", Type::Counter, "", "payload"},
    {"/publications/refused_bytes", "nornhesperd_publications_refused_bytes", Type::Counter,
     "Bytes of refused publications."},
    {"/publications/unknown_cids", "nornhesperd_unknown_cids", Type::Counter,
     "Datagrams of senders that the host doesn't know."},
    {"/publications/acknowledgements_failed", "nornhesperd_acknowledgements_failed", Type::Counter,
     "Acknowledgements that could not be sent."},
    {"/cid_cache/entries", "nornhesperd_cid_cache_entries", Type::Gauge, "VMs that the daemon knows now."},
    {"/cid_cache/hits", "nornhesperd_cid_cache_hits", Type::Counter, "Look-ups of known VMs."},
    {"/cid_cache/misses", "nornhesperd_cid_cache_misses", Type::Counter, "Look-ups of new or changed VMs."},
    {"/cid_cache/evictions", "nornhesperd_cid_cache_evictions", Type::Counter,
     "VMs forgotten for want of room."},
    {"/subscriptions/current", "nornhesperd_subscriptions", Type::Gauge, "Subscriptions that are open now."},
    {"/subscriptions/opened", "nornhesperd_subscriptions_opened", Type::Counter, "Subscriptions opened."},
    {"/subscriptions/deliveries", "nornhesperd_deliveries", Type::Counter,
     "Publications delivered to subscriptions."},
    {"/subscriptions/delivered_bytes", "nornhesperd_delivered_bytes", Type::Counter,
     "Bytes delivered to subscriptions."},
    {"/subscriptions/dropped_queues", "nornhesperd_dropped_queues", Type::Counter,
     "Queues dropped because their subscriber was too slow."},
    {"/subscriptions/dropped_publications", "nornhesperd_dropped_publications", Type::Counter,
     "Publications dropped with those queues."},
    {"/history/requests_sent", "nornhesperd_history_requests_sent", Type::Counter,
     "Requests for history sent to VMs."},
    {"/history/requests_failed", "nornhesperd_history_requests_failed", Type::Counter,
     "Requests for history that could not be sent."},
    {"/connections/current", "nornhesperd_connections", Type::Gauge, "API connections that are open now."},
    {"/connections/accepted", "nornhesperd_connections_accepted", Type::Counter, "API connections accepted."},
    {"/logins/refused_password", "nornhesperd_logins_refused", Type::Counter,
     "Calls refused for who called, by cause.", "password"},
    {"/logins/refused_user", "nornhesperd_logins_refused", Type::Counter, "", "user"},
    {"/logins/refused_token", "nornhesperd_logins_refused", Type::Counter, "", "token"},
    {"/logins/refused_entitlement", "nornhesperd_logins_refused", Type::Counter, "", "entitlement"},
    {"/audit/records_lost", "nornhesperd_audit_records_lost", Type::Counter, "Audit records lost."},
    {"/process/descriptors", "nornhesperd_descriptors", Type::Gauge, "Descriptors that are open now."},
    {"/process/posts_waiting", "nornhesperd_posts_waiting", Type::Gauge,
     "Publications that wait for the daemon's main thread."},
};

std::optional<std::int64_t> NumberAt(const rapidjson::Document& stats, const char* pointer) {
  const auto* const value = rapidjson::Pointer(pointer).Get(stats);
  return value != nullptr && value->IsInt64() ? std::optional(value->GetInt64()) : std::nullopt;
}

void WriteTimes(const rapidjson::Document& stats, MetricWriter& writer) {
  constexpr double kMicrosecond = 1e-6;
  if (const auto longest = NumberAt(stats, "/process/longest_post_wait_microseconds")) {
    writer.Family("nornhesperd_longest_post_wait_seconds", Type::Gauge,
                  "The longest that a publication has waited for the daemon's main thread.");
    writer.Sample(static_cast<double>(*longest) * kMicrosecond);
  }
  const auto* const start = rapidjson::Pointer("/start_time").Get(stats);
  if (start == nullptr || !start->IsString()) return;
  try {
    const auto time = Corvane::System::DateTime::Parse({start->GetString(), start->GetStringLength()});
    writer.Family("nornhesperd_start_time_seconds", Type::Gauge, "When the daemon started, since 1970.");
    writer.Sample(static_cast<double>(time.GetUtcTime()) * kMicrosecond);
  } catch (const Corvane::DateTimeFormatException&) {
    return;
  }
}

}  // namespace

void WriteDaemonMetrics(const std::string& stats, MetricWriter& writer) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(stats.data(), stats.size());
  if (document.HasParseError()) return;
  std::string_view family;
  for (const auto& metric : kDaemonMetrics) {
    const auto value = NumberAt(document, metric.pointer);
    if (!value) continue;
    if (metric.name != family) writer.Family(metric.name, metric.type, metric.help);
    family = metric.name;
    writer.Sample(metric.cause.empty() ? std::string_view() : "cause", metric.cause, *value);
  }
  WriteTimes(document, writer);
}

}  // namespace Fleet

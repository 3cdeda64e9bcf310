#include <array>

#include "guest/agent/intake/refusal.h"
#include "guest/agent/metrics/metricText.h"
#include "guest/agent/reporter.h"

namespace GuestAgent {
namespace {

void AddCounter(MetricText& text, std::string_view name, std::uint64_t value) {
  text.Add({name, MetricKind::Counter}, WholeNumber(value));
}
void AddGauge(MetricText& text, std::string_view name, std::uint64_t value) {
  text.Add({name, MetricKind::Gauge}, WholeNumber(value));
}

}  // namespace

std::string StatsText(const Counters& counters, const Schedule& schedule, const Store& store) {
  MetricText text;
  AddCounter(text, "hesper_guest_kept", counters.kept);
  std::vector<MetricRow> refused;
  for (std::size_t i = 0; i < kFaultNames.size(); ++i) {
    refused.push_back({MetricLabel("error", kFaultNames[i]), {WholeNumber(counters.refused[i])}});
  }
  text.Add(std::array{MetricFamily{"hesper_guest_refused", MetricKind::Counter}}, refused);
  AddCounter(text, "hesper_guest_sent", counters.sent);
  AddCounter(text, "hesper_guest_late", counters.late);
  AddCounter(text, "hesper_guest_replaced", counters.replaced);
  AddCounter(text, "hesper_guest_refused_by_host", counters.refusedByHost);
  AddCounter(text, "hesper_guest_repeats", counters.repeats);
  AddCounter(text, "hesper_guest_history_requests", counters.historyRequests);
  AddCounter(text, "hesper_guest_history_requests_refused", counters.historyRefused);
  AddCounter(text, "hesper_guest_history_sent", counters.historySent);
  AddCounter(text, "hesper_guest_history_skipped", counters.historySkipped);
  AddGauge(text, "hesper_guest_waiting", schedule.Items());
  AddGauge(text, "hesper_guest_waiting_bytes", schedule.Bytes());
  AddGauge(text, "hesper_guest_store_items", store.Items());
  AddGauge(text, "hesper_guest_store_bytes", store.Bytes());
  AddGauge(text, "hesper_guest_store_on_disk", store.IsOnDisk() ? 1 : 0);
  return std::move(text).Finish();
}

}  // namespace GuestAgent

#include "fleet/exporter/metricsPage.h"

#include "fleet/exporter/daemonMetrics.h"
#include "fleet/exporter/metricWriter.h"

namespace Fleet {
namespace {

using Type = MetricWriter::Type;

void WriteOwn(const HostView& host, bool isDaemonUp, MetricWriter& writer) {
  const auto stream = host.stream.Current();
  writer.Family("hesper_exporter_daemon_up", Type::Gauge, "Whether the daemon has answered just now.");
  writer.Sample(std::int64_t{isDaemonUp});
  writer.Family("hesper_exporter_stream_up", Type::Gauge, "Whether the stream of publications is open.");
  writer.Sample(std::int64_t{stream.isConnected});
  writer.Family("hesper_exporter_stream_interruptions", Type::Counter,
                "Interruptions of the stream of publications.");
  writer.Sample(static_cast<std::int64_t>(stream.interruptions));
  writer.Family("hesper_exporter_skipped_events", Type::Counter,
                "Events that viewers of the page were not sent, as too many came.");
  writer.Sample(static_cast<std::int64_t>(host.events.Skipped()));
}

}  // namespace

std::string MetricsPage(const HostView& host, const Checked& checked, MetricForm form) {
  const auto now = std::chrono::steady_clock::now();
  std::string page;
  MetricWriter writer(page, form);
  WriteDaemonMetrics(checked.stats, writer);
  WriteOwn(host, checked.verdict == Checked::Verdict::Good, writer);
  host.vms.WriteMetrics(writer, now);
  host.metrics.AppendTo(page, now, form);
  if (form == MetricForm::OpenMetrics) page += "# EOF\n";
  return page;
}

}  // namespace Fleet

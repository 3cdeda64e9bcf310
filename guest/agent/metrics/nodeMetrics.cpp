#include "guest/agent/metrics/nodeMetrics.h"

#include <utility>

#include "guest/agent/metrics/metricText.h"
#include "guest/agent/metrics/subjects.h"

namespace GuestAgent {

NodeMetrics::NodeMetrics(Roots roots) : roots_(std::move(roots)), failedUnits_(roots_.bus) {}

std::string NodeMetrics::Text() {
  MetricText text;
  // Filesystems come last: their names alone can be so long that the text's bound leaves something out.
  AddProcessor(roots_.proc, text);
  AddMemory(roots_.proc, text);
  AddPressure(roots_.proc, text);
  if (const auto count = failedUnits_.Count()) {
    text.Add({"node_systemd_units_failed", MetricKind::Gauge}, WholeNumber(*count));
  }
  AddDisks(roots_.proc, roots_.sys, text);
  AddNetworks(roots_.proc, roots_.sys, text);
  AddFilesystems(roots_.proc, text);
  return std::move(text).Finish();
}

}  // namespace GuestAgent

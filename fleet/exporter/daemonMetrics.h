#pragma once

#include <string>

#include "fleet/exporter/metricWriter.h"

namespace Fleet {

// The numbers of the daemon's stats service, a JSON object, as metrics nornhesperd_*. What isn't there, or is
// no number, is left out.
void WriteDaemonMetrics(const std::string& stats, MetricWriter& writer);

}  // namespace Fleet

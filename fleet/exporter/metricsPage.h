#pragma once

#include <string>

#include "fleet/exporter/routes.h"

namespace Fleet {

// The whole page of /metrics: the daemon's numbers, the exporter's own, and the VMs'.
std::string MetricsPage(const HostView& host, const Checked& checked, MetricForm form);

}  // namespace Fleet

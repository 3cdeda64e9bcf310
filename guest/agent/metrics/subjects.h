#pragma once

#include <string>

#include "guest/agent/metrics/metricText.h"

namespace GuestAgent {

// The figures of one subject each, from the kernel's folders (/proc and /sys). What can't be read is left
// out.

// Load, time by mode of all processors together, processes, and the VM's clocks.
void AddProcessor(const std::string& proc, MetricText& text);
void AddMemory(const std::string& proc, MetricText& text);
// How long something had to wait for a processor, memory or a disk; not every kernel counts it.
void AddPressure(const std::string& proc, MetricText& text);
void AddFilesystems(const std::string& proc, MetricText& text);
void AddDisks(const std::string& proc, const std::string& sys, MetricText& text);
void AddNetworks(const std::string& proc, const std::string& sys, MetricText& text);

}  // namespace GuestAgent

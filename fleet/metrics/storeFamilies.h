#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "fleet/metrics/metricForm.h"
#include "fleet/metrics/textRefused.h"

namespace Fleet {

// What the store has to tell of a VM.
struct VmFigures {
  std::string vmLabel;
  RefusalCounts refused{};
  std::size_t series = 0;
  std::optional<std::chrono::milliseconds> age;  // of its newest text; nothing if there was none
};

// Appends the families hesper_vm_..., by name, and in each the VMs in their order here. A cause that no text
// was refused for has no sample.
void AppendStoreFamilies(std::string& page, MetricForm form, std::span<const VmFigures> vms);

}  // namespace Fleet

#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "fleet/metrics/keptText.h"
#include "fleet/metrics/metricForm.h"

namespace Fleet {

struct VmTexts {
  std::string vmLabel;
  std::vector<std::shared_ptr<const KeptText>> texts;
};

// Appends the families of all VMs, by name, and in each the VMs in their order here.
//
// Each VM says what type its families are, and none may spoil another one's: where they disagree, or where a
// family has the name of another one's sample, each sample's name is a family of its own, of the type
// unknown. So no sample is lost or comes under a wrong type, and no two families of the page have a name of a
// sample in common.
void AppendVmFamilies(std::string& page, MetricForm form, std::span<const VmTexts> vms);

}  // namespace Fleet

#pragma once

#include <string>
#include <string_view>

#include "fleet/metrics/familyType.h"
#include "fleet/metrics/metricForm.h"

namespace Fleet {

// The two lines before a family's samples. Requires: the type is one of the form's, and the name the one that
// the form gives the family.
void AppendFamilyHead(std::string& page, MetricForm form, std::string_view name, FamilyType type,
                      std::string_view help);

// {vm="...": how the labels of each of its samples begin. Requires: the name is UTF-8 without line ends.
std::string VmLabel(std::string_view vm);

}  // namespace Fleet

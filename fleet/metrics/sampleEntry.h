#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fleet/metrics/familyType.h"

namespace Fleet {

// A sample of a text that is being read.
struct SampleEntry {
  std::string_view Family() const { return WithoutSuffix(name, suffix); }

  std::string_view name;
  FamilyType type = FamilyType::Unknown;
  Suffix suffix = Suffix::None;
  // Its labels as they'll be written: first those that say which metric of the family this is.
  std::string_view labels;
  // Then the one that tells the samples of a metric apart: le, quantile, or the name of a state.
  std::string_view ownLabel;
  double bound = 0;  // the number in it
  double value = 0;
};

}  // namespace Fleet

#pragma once

#include <string>
#include <vector>

#include "bench/growth/series.h"

namespace Growth {

// The series as lines, on logarithmic axes, where cost that grows as what causes it has the grid's diagonal.
std::string Draw(const std::vector<Series>& series);

}  // namespace Growth

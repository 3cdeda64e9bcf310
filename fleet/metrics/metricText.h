#pragma once

#include <cstddef>
#include <string_view>

#include "fleet/metrics/keptText.h"

namespace Fleet {

// Reads a text in the form of OpenMetrics 1.0 or of Prometheus 0.0.4, which needn't say which one it is.
// Throws TextRefused.
//
// No sample changes its name. A counter has its family's name in the new form whichever form it comes in: foo
// of foo_total. A sample whose family can't be what its type says is of the type unknown under its own name:
// that of a counter without "_total", which OpenMetrics doesn't know; a gauge with another type's suffix,
// whose type would hang on whether somebody has a family of that other type; those of a histogram that
// doesn't add up.
KeptText ReadMetricText(std::string_view text, std::size_t mostSeries);

}  // namespace Fleet

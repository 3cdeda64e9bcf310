#pragma once

#include <span>

#include "fleet/metrics/sampleEntry.h"

namespace Fleet {

// Whether OpenMetrics lets a family of that type have these samples: counts neither fall below zero nor are
// NaN, a histogram's buckets add up, and so on. Requires: the entries are one family of a text, those of a
// metric together and its buckets by their bounds.
bool HasShapeOfType(std::span<const SampleEntry> family);

}  // namespace Fleet

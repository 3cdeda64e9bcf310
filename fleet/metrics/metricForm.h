#pragma once

namespace Fleet {

// The forms that Prometheus and others read. What differs: the old one names a counter by its sample, has
// fewer types, and calls "unknown" untyped. Samples are the same in both.
enum class MetricForm { OpenMetrics, Prometheus };

}  // namespace Fleet

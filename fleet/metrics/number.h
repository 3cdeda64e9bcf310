#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Fleet {

// A decimal number, "inf", "infinity" or "nan", in capitals or not. What a double can't hold is nothing: one
// sample of 1e999 makes Prometheus drop the whole page.
std::optional<double> ReadNumber(std::string_view word);

// In the shortest form that gives the same double, as Prometheus' own clients write it: 5, 1e+06, +Inf.
void AppendNumber(std::string& out, double value);

// The same as the value of a label le or quantile, where OpenMetrics wants 5.0 for 5.
void AppendBound(std::string& out, double value);

}  // namespace Fleet

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace GuestAgent {

enum class MetricKind { Gauge, Counter, Unknown };

// A counter's samples get "_total" behind this name.
struct MetricFamily {
  std::string_view name;
  MetricKind kind;
};

// What one disk, say, has to tell: a number for each of its table's families. An empty one is left out.
struct MetricRow {
  std::string labels;  // of MetricLabel, with commas between them; may be empty
  std::vector<std::string> numbers;
};

// Valid OpenMetrics 1.0 text within a bound: a sample for which there is no more room is left out.
class MetricText {
 public:
  static constexpr std::size_t kMaxBytes = 32 << 10;
  static constexpr std::size_t kMaxRows = 16;

  // Rows beyond kMaxRows are left out, and so is one with labels that an earlier one has.
  void Add(std::span<const MetricFamily> families, std::span<const MetricRow> rows);
  void Add(MetricFamily family, std::string number);

  std::string Finish() &&;

 private:
  void AddFamily(MetricFamily family, std::size_t column, std::span<const MetricRow* const> rows);
  bool Append(std::string_view lines);

  std::string text_;
};

// NAME="VALUE": the value is cut at some 256 bytes, and what is no plain UTF-8 text in it is escaped.
std::string MetricLabel(std::string_view name, std::string_view value);

std::string WholeNumber(std::uint64_t value);
// The value in units of 10^-decimals.
std::string DecimalNumber(std::uint64_t value, unsigned decimals);

}  // namespace GuestAgent

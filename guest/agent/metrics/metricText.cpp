#include "guest/agent/metrics/metricText.h"

#include <algorithm>
#include <utility>

#include "platform/corvane/textEscape.h"

namespace GuestAgent {
namespace {

constexpr std::string_view kEnd = "# EOF\n";

std::string_view KindName(MetricKind kind) {
  switch (kind) {
    case MetricKind::Gauge:
      return "gauge";
    case MetricKind::Counter:
      return "counter";
    case MetricKind::Unknown:
      break;
  }
  return "unknown";
}

std::string TypeLine(MetricFamily family) {
  return std::string("# TYPE ").append(family.name).append(" ").append(KindName(family.kind)).append("\n");
}

std::string SampleLine(MetricFamily family, const std::string& labels, const std::string& number) {
  std::string line(family.name);
  if (family.kind == MetricKind::Counter) line.append("_total");
  if (!labels.empty()) line.append("{").append(labels).append("}");
  return line.append(" ").append(number).append("\n");
}

std::vector<const MetricRow*> ChooseRows(std::span<const MetricRow> rows) {
  std::vector<const MetricRow*> chosen;
  for (const auto& row : rows) {
    if (chosen.size() == MetricText::kMaxRows) break;
    const auto isSame = [&](const MetricRow* other) { return other->labels == row.labels; };
    if (std::none_of(chosen.begin(), chosen.end(), isSame)) chosen.push_back(&row);
  }
  return chosen;
}

}  // namespace

void MetricText::Add(std::span<const MetricFamily> families, std::span<const MetricRow> rows) {
  const auto chosen = ChooseRows(rows);
  for (std::size_t column = 0; column < families.size(); ++column) {
    AddFamily(families[column], column, chosen);
  }
}

void MetricText::Add(MetricFamily family, std::string number) {
  const MetricRow row{"", {std::move(number)}};
  Add({&family, 1}, {&row, 1});
}

void MetricText::AddFamily(MetricFamily family, std::size_t column, std::span<const MetricRow* const> rows) {
  std::string type = TypeLine(family);
  for (const MetricRow* row : rows) {
    const std::string& number = row->numbers[column];
    // The type belongs to the first sample that has room.
    if (!number.empty() && Append(type + SampleLine(family, row->labels, number))) type.clear();
  }
}

bool MetricText::Append(std::string_view lines) {
  if (text_.size() + lines.size() + kEnd.size() > kMaxBytes) return false;
  text_.append(lines);
  return true;
}

std::string MetricText::Finish() && {
  return std::move(text_.append(kEnd));
}

std::string MetricLabel(std::string_view name, std::string_view value) {
  std::string label = std::string(name).append("=\"");
  for (const char c : Corvane::Detail::EscapeName(value)) {
    if (c == '"' || c == '\\') label.push_back('\\');
    label.push_back(c);
  }
  return label.append("\"");
}

std::string WholeNumber(std::uint64_t value) {
  return std::to_string(value);
}

std::string DecimalNumber(std::uint64_t value, unsigned decimals) {
  std::string digits = std::to_string(value);
  if (digits.size() <= decimals) digits.insert(0, decimals + 1 - digits.size(), '0');
  return digits.insert(digits.size() - decimals, ".");
}

}  // namespace GuestAgent

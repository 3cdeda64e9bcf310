#include "fleet/exporter/metricWriter.h"

#include <array>
#include <charconv>

namespace Fleet {
namespace {

void AppendLabelValue(std::string& page, std::string_view value) {
  for (const char c : value) {
    if (c == '\n') {
      page += "\\n";
    } else {
      if (c == '\\' || c == '"') page += '\\';
      page += c;
    }
  }
}

}  // namespace

void MetricWriter::Family(std::string_view name, Type type, std::string_view help) {
  sample_ = name;
  if (type == Type::Counter) sample_ += "_total";
  const auto family = form_ == MetricForm::OpenMetrics ? name : std::string_view(sample_);
  page_.append("# HELP ").append(family).append(" ").append(help).append("\n# TYPE ").append(family);
  page_.append(type == Type::Counter ? " counter\n" : " gauge\n");
}

std::string MetricWriter::Text(double value) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  return {text.data(), end};
}

void MetricWriter::Sample(std::string_view label, std::string_view labelValue, std::string_view value) {
  page_ += sample_;
  if (!label.empty()) {
    page_.append("{").append(label).append("=\"");
    AppendLabelValue(page_, labelValue);
    page_ += "\"}";
  }
  page_.append(" ").append(value).append("\n");
}

}  // namespace Fleet

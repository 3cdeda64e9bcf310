#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "fleet/metrics/metricForm.h"

namespace Fleet {

// Writes metric families of our own in the text form of OpenMetrics 1.0 or of Prometheus 0.0.4, in which a
// counter's family is named differently. Names, helps and the names of labels are plain constants.
class MetricWriter final {
 public:
  enum class Type { Counter, Gauge };

  MetricWriter(std::string& page, MetricForm form) : page_(page), form_(form) {}

  // Begins a family. A counter's name is without its "_total".
  void Family(std::string_view name, Type type, std::string_view help);
  void Sample(std::int64_t value) { Sample({}, {}, std::to_string(value)); }
  void Sample(double value) { Sample({}, {}, Text(value)); }
  // With one label, of which the value may be anybody's words in UTF-8.
  void Sample(std::string_view label, std::string_view labelValue, std::int64_t value) {
    Sample(label, labelValue, std::to_string(value));
  }
  void Sample(std::string_view label, std::string_view labelValue, double value) {
    Sample(label, labelValue, Text(value));
  }

 private:
  static std::string Text(double value);
  void Sample(std::string_view label, std::string_view labelValue, std::string_view value);

  std::string& page_;
  const MetricForm form_;
  std::string sample_;  // the name of the family's samples
};

}  // namespace Fleet

#pragma once

#include <chrono>
#include <sstream>
#include <string>
#include <string_view>

#include "fleet/metrics/metricStore.h"

namespace Fleet {

inline constexpr MetricStore::Time kNow = MetricStore::Time{} + std::chrono::hours(100);

inline std::string PageOf(const MetricStore& store, MetricForm form = MetricForm::OpenMetrics,
                          MetricStore::Time now = kNow) {
  std::string page;
  store.AppendTo(page, now, form);
  return page;
}

// The lines with that in them, or without it.
inline std::string LinesWith(const std::string& page, std::string_view word, bool isWith = true) {
  std::istringstream stream(page);
  std::string lines;
  for (std::string line; std::getline(stream, line);) {
    if ((line.find(word) != std::string::npos) == isWith) lines += line + "\n";
  }
  return lines;
}

// What guests wrote: types and samples.
inline std::string GuestsPart(const std::string& page) {
  return LinesWith(LinesWith(page, "hesper_vm_", false), "# HELP", false);
}

// The page's guests' part for one VM "v" with this text.
inline std::string PageOfText(std::string_view text, MetricForm form = MetricForm::OpenMetrics) {
  MetricStore store({});
  store.Take("v", "metrics.x", text, kNow);
  return store.Refused() > 0 ? "refused" : GuestsPart(PageOf(store, form));
}

}  // namespace Fleet

#include "fleet/metrics/familyShape.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace Fleet {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool IsCount(double value) {
  return value >= 0;  // and no NaN
}

bool IsZeroOrOne(double value) {
  return value == 0 || value == 1;
}

// The samples of one histogram: buckets, then what goes with them.
class HistogramShape final {
 public:
  bool Take(const SampleEntry& entry) {
    switch (entry.suffix) {
      case Suffix::Bucket:
        return TakeBucket(entry);
      case Suffix::Count:
      case Suffix::GaugeCount:
        count_ = entry.value;
        return IsCount(entry.value);
      case Suffix::Sum:
        hasSum_ = true;
        return IsCount(entry.value) && !hasNegativeBound_;
      case Suffix::GaugeSum:
        hasSum_ = true;
        return !std::isnan(entry.value) && (entry.value >= 0 || hasNegativeBound_);
      default:
        return true;
    }
  }

  bool IsWhole() const {
    return lastBound_ == kInfinity && count_.has_value() == hasSum_ &&
           count_.value_or(lastCount_) == lastCount_;
  }

 private:
  bool TakeBucket(const SampleEntry& entry) {
    const bool isMore = IsCount(entry.value) && entry.value >= lastCount_ && entry.bound > lastBound_;
    lastCount_ = entry.value;
    lastBound_ = entry.bound;
    hasNegativeBound_ = hasNegativeBound_ || entry.bound < 0;
    return isMore;
  }

  std::optional<double> lastBound_;  // nothing is less than any number
  double lastCount_ = 0;
  std::optional<double> count_;
  bool hasSum_ = false;
  bool hasNegativeBound_ = false;
};

bool HasShapeOfHistograms(std::span<const SampleEntry> family) {
  while (!family.empty()) {
    HistogramShape histogram;
    const auto labels = family.front().labels;
    for (; !family.empty() && family.front().labels == labels; family = family.subspan(1)) {
      if (!histogram.Take(family.front())) return false;
    }
    if (!histogram.IsWhole()) return false;
  }
  return true;
}

bool HasShapeOfSummary(const SampleEntry& entry) {
  if (entry.suffix != Suffix::None) return IsCount(entry.value);
  return entry.bound >= 0 && entry.bound <= 1 && (std::isnan(entry.value) || entry.value >= 0);
}

}  // namespace

bool HasShapeOfType(std::span<const SampleEntry> family) {
  const auto all = [&](auto isGood) { return std::all_of(family.begin(), family.end(), isGood); };
  switch (family.front().type) {
    case FamilyType::Counter:
      return all([](const SampleEntry& entry) { return IsCount(entry.value); });
    case FamilyType::Histogram:
    case FamilyType::GaugeHistogram:
      return HasShapeOfHistograms(family);
    case FamilyType::Summary:
      return all(HasShapeOfSummary);
    case FamilyType::StateSet:
      return all([](const SampleEntry& entry) { return IsZeroOrOne(entry.value); });
    case FamilyType::Info:
      return all([](const SampleEntry& entry) { return entry.value == 1; });
    case FamilyType::Gauge:
    case FamilyType::Unknown:
      break;
  }
  return true;
}

}  // namespace Fleet

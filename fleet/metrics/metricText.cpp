#include "fleet/metrics/metricText.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "fleet/metrics/familyShape.h"
#include "fleet/metrics/familyType.h"
#include "fleet/metrics/metricLine.h"
#include "fleet/metrics/names.h"
#include "fleet/metrics/number.h"
#include "fleet/metrics/textRefused.h"

namespace Fleet {
namespace {

[[noreturn]] void Refuse(Refusal cause) {
  throw TextRefused(cause);
}

// An unknown family is one sample name.
void MakeUnknown(SampleEntry& entry) {
  entry.type = FamilyType::Unknown;
  entry.suffix = Suffix::None;
}

bool IsBefore(const SampleEntry& left, const SampleEntry& right) {
  if (const int order = left.Family().compare(right.Family()); order != 0) return order < 0;
  return std::tie(left.type, left.labels, left.suffix, left.bound, left.ownLabel) <
         std::tie(right.type, right.labels, right.suffix, right.bound, right.ownLabel);
}

void AppendLabel(std::string& out, std::string_view name, std::string_view value) {
  out.append(",").append(name).append("=\"").append(value).append("\"");
}

class TextReader final {
 public:
  explicit TextReader(std::size_t mostSeries) : mostSeries_(mostSeries) {}

  void Take(const MetricLine& line) {
    if (hasEnded_) Refuse(Refusal::Syntax);
    switch (line.kind) {
      case MetricLine::Kind::Type:
        return TakeType(line);
      case MetricLine::Kind::Sample:
        return TakeSample(line);
      case MetricLine::Kind::End:
        hasEnded_ = true;
        return;
      case MetricLine::Kind::Nothing:
        break;
    }
  }

  bool HasEnded() const { return hasEnded_; }

  KeptText Finish() && {
    std::sort(entries_.begin(), entries_.end(), IsBefore);
    if (MakeShapelessUnknown()) std::sort(entries_.begin(), entries_.end(), IsBefore);
    KeptText kept(entries_);
    if (kept.HasDuplicates()) Refuse(Refusal::Duplicate);
    return kept;
  }

 private:
  void TakeType(const MetricLine& line) {
    auto type = ReadFamilyType(line.type);
    if (!type || declared_.contains(line.name)) Refuse(Refusal::Type);
    const Suffix suffix = SuffixOf(line.name);
    auto name = line.name;
    if (*type == FamilyType::Counter && suffix == Suffix::Total) {
      name = WithoutSuffix(name, suffix);
      CheckMetricName(name);
    }
    if (*type == FamilyType::Gauge && suffix != Suffix::None) type = FamilyType::Unknown;
    // In the old form Prometheus' Python client has a counter's time of creation as a gauge beside it.
    if (*type == FamilyType::Unknown && IsDeclaredWith(name, suffix)) return;
    if (!declared_.emplace(name, *type).second) Refuse(Refusal::Type);
  }

  bool IsDeclaredWith(std::string_view name, Suffix suffix) const {
    if (suffix == Suffix::None) return false;
    const auto family = declared_.find(WithoutSuffix(name, suffix));
    return family != declared_.end() && SuffixesOf(family->second).Has(suffix);
  }

  void TakeSample(const MetricLine& line) {
    if (entries_.size() == mostSeries_) Refuse(Refusal::TooMany);
    // Mostly the name is that of the sample before.
    if (entry_.name != line.name) FindFamily(line.name);
    entry_.value = line.value;
    TakeLabels(line.labels);
    entries_.push_back(entry_);
  }

  void FindFamily(std::string_view name) {
    entry_.name = name;
    MakeUnknown(entry_);
    const auto same = declared_.find(name);
    const Suffix suffix = SuffixOf(name);
    if (same != declared_.end()) {
      TakeBareName(same->second);
    } else if (IsDeclaredWith(name, suffix)) {
      entry_.type = declared_.find(WithoutSuffix(name, suffix))->second;
      entry_.suffix = suffix;
    } else {
      declared_.emplace(name, FamilyType::Unknown);
    }
  }

  // A sample that is named as a declared family.
  void TakeBareName(FamilyType type) {
    if (SuffixesOf(type).Has(Suffix::None)) {
      entry_.type = type;
    } else if (type != FamilyType::Counter) {
      Refuse(Refusal::Type);
    }
  }

  std::string_view NameOfOwnLabel() const {
    if (entry_.type == FamilyType::StateSet) return entry_.name;
    if (entry_.suffix == Suffix::Bucket) return "le";
    if (entry_.type == FamilyType::Summary && entry_.suffix == Suffix::None) return "quantile";
    return {};
  }

  void TakeLabels(const std::vector<MetricLabel>& labels) {
    const auto ownName = NameOfOwnLabel();
    const MetricLabel* own = nullptr;
    entry_.bound = 0;
    std::string& text = texts_.emplace_back();
    for (const auto& label : labels) {
      if (label.name == ownName) {
        own = &label;
      } else {
        AppendLabel(text, label.name, label.value);
      }
    }
    const std::size_t size = text.size();
    if (own != nullptr) {
      TakeOwnLabel(*own, text);
    } else if (!ownName.empty()) {
      Refuse(Refusal::Type);
    }
    entry_.labels = std::string_view(text).substr(0, size);
    entry_.ownLabel = std::string_view(text).substr(size);
  }

  void TakeOwnLabel(const MetricLabel& label, std::string& text) {
    if (entry_.type == FamilyType::StateSet) return AppendLabel(text, label.name, label.value);
    const auto bound = ReadNumber(label.value);
    if (!bound || std::isnan(*bound)) Refuse(Refusal::Type);
    entry_.bound = *bound;
    std::string number;
    AppendBound(number, *bound);
    AppendLabel(text, label.name, number);
  }

  bool MakeShapelessUnknown() {
    bool hasSome = false;
    for (auto begin = entries_.begin(); begin != entries_.end();) {
      const auto isOther = [&](const SampleEntry& entry) {
        return entry.type != begin->type || entry.Family() != begin->Family();
      };
      const auto end = std::find_if(begin, entries_.end(), isOther);
      if (!HasShapeOfType({begin, end})) {
        std::for_each(begin, end, MakeUnknown);
        hasSome = true;
      }
      begin = end;
    }
    return hasSome;
  }

  std::size_t mostSeries_;
  bool hasEnded_ = false;
  // Families, and names of samples that have none. Ordered: nobody can choose names that are slow to find.
  std::map<std::string_view, FamilyType> declared_;
  SampleEntry entry_;  // the last one
  std::vector<SampleEntry> entries_;
  std::deque<std::string> texts_;  // of labels; where entries refer to
};

}  // namespace

KeptText ReadMetricText(std::string_view text, std::size_t mostSeries) {
  TextReader reader(mostSeries);
  MetricLine line;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    ReadMetricLine(text.substr(0, end), line);
    reader.Take(line);
    if (end == std::string_view::npos) {
      // A text that was cut.
      if (!reader.HasEnded()) Refuse(Refusal::Syntax);
      break;
    }
    text.remove_prefix(end + 1);
  }
  return std::move(reader).Finish();
}

}  // namespace Fleet

#include "fleet/metrics/familyType.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Fleet {
namespace {

struct TypeEntry {
  std::string_view name;
  Suffixes suffixes;
};

constexpr std::array<TypeEntry, 8> kTypes = {{
    {"unknown", {Suffix::None}},
    {"gauge", {Suffix::None}},
    {"counter", {Suffix::Total, Suffix::Created}},
    {"histogram", {Suffix::Bucket, Suffix::Count, Suffix::Sum, Suffix::Created}},
    {"gaugehistogram", {Suffix::Bucket, Suffix::GaugeCount, Suffix::GaugeSum}},
    {"summary", {Suffix::None, Suffix::Count, Suffix::Sum, Suffix::Created}},
    {"stateset", {Suffix::None}},
    {"info", {Suffix::Info}},
}};

constexpr std::array<std::string_view, 9> kSuffixTexts = {"",        "_total", "_bucket", "_count",  "_sum",
                                                          "_gcount", "_gsum",  "_info",   "_created"};

}  // namespace

std::optional<FamilyType> ReadFamilyType(std::string_view word) {
  if (word == "untyped") return FamilyType::Unknown;
  const auto entry =
      std::find_if(kTypes.begin(), kTypes.end(), [&](const TypeEntry& type) { return type.name == word; });
  if (entry == kTypes.end()) return {};
  return static_cast<FamilyType>(entry - kTypes.begin());
}

std::string_view FamilyTypeName(FamilyType type) {
  return kTypes[static_cast<std::size_t>(type)].name;
}

Suffixes SuffixesOf(FamilyType type) {
  return kTypes[static_cast<std::size_t>(type)].suffixes;
}

std::string_view SuffixText(Suffix suffix) {
  return kSuffixTexts[static_cast<std::size_t>(suffix)];
}

Suffix SuffixOf(std::string_view name) {
  for (const Suffix suffix : kAllSuffixes) {
    const auto text = SuffixText(suffix);
    if (!text.empty() && name.size() > text.size() && name.ends_with(text)) return suffix;
  }
  return Suffix::None;
}

std::string_view WithoutSuffix(std::string_view name, Suffix suffix) {
  return name.substr(0, name.size() - SuffixText(suffix).size());
}

}  // namespace Fleet

#include "fleet/metrics/vmFamilies.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <string_view>

#include "fleet/metrics/familyLines.h"
#include "fleet/metrics/familyType.h"

namespace Fleet {
namespace {

constexpr std::string_view kHelp = "Published by VMs.";

// The family of one text.
struct Part {
  std::size_t vm = 0;
  const KeptText* text = nullptr;
  const KeptText::Family* family = nullptr;
};

// One name of a family, in all texts.
struct NamedFamily {
  FamilyType type = FamilyType::Unknown;
  bool isDisputed = false;
  Suffixes possible;  // by the types that it has been given
  Suffixes present;
  std::vector<Part> parts;  // VMs in their order
};
using NamedFamilies = std::map<std::string_view, NamedFamily>;

void AddPart(NamedFamily& named, const Part& part) {
  if (named.parts.empty()) named.type = part.family->type;
  if (named.type != part.family->type) named.isDisputed = true;
  named.possible.Add(SuffixesOf(part.family->type));
  named.present.Add(part.family->suffixes);
  named.parts.push_back(part);
}

// VMs are much alike, and their families sorted: the next one is mostly the one behind the last one.
NamedFamily& FindNamed(NamedFamilies& families, NamedFamilies::iterator& last, std::string_view name) {
  if (last != families.end()) ++last;
  if (last == families.end() || last->first != name) last = families.try_emplace(name).first;
  return last->second;
}

NamedFamilies Gather(std::span<const VmTexts> vms) {
  NamedFamilies families;
  for (std::size_t vm = 0; vm < vms.size(); ++vm) {
    for (const auto& text : vms[vm].texts) {
      auto last = families.end();
      for (const auto& family : text->Families()) {
        AddPart(FindNamed(families, last, text->NameOf(family)), {vm, text.get(), &family});
      }
    }
  }
  return families;
}

// A name of a sample is one family's only if its name without the suffix is no other family that has the
// suffix.
void DisputeCommonNames(NamedFamilies& families) {
  for (auto& [name, family] : families) {
    const Suffix suffix = SuffixOf(name);
    if (suffix == Suffix::None) continue;
    const auto other = families.find(WithoutSuffix(name, suffix));
    if (other == families.end() || !other->second.possible.Has(suffix)) continue;
    family.isDisputed = true;
    other->second.isDisputed = true;
  }
}

// What stands together on the page under one name and type.
struct PageFamily {
  struct Source {
    std::string_view name;  // of its samples, without their suffixes
    const NamedFamily* named = nullptr;
    Suffixes suffixes;  // of the samples that belong here
  };
  FamilyType type = FamilyType::Unknown;
  std::vector<Source> sources;
};
using PageFamilies = std::map<std::string, PageFamily>;

// How a type looks in the old form: which samples are the family, and what its name and type are. A gauge
// histogram is nothing there.
struct OldForm {
  FamilyType type = FamilyType::Gauge;
  Suffix suffixOfName = Suffix::None;
  Suffixes suffixes{Suffix::None};
};

OldForm OldFormOf(FamilyType type) {
  switch (type) {
    case FamilyType::Counter:
      return {FamilyType::Counter, Suffix::Total, {Suffix::Total}};
    case FamilyType::Info:
      return {FamilyType::Gauge, Suffix::Info, {Suffix::Info}};
    case FamilyType::Histogram:
      return {type, Suffix::None, {Suffix::Bucket, Suffix::Count, Suffix::Sum}};
    case FamilyType::Summary:
      return {type, Suffix::None, {Suffix::None, Suffix::Count, Suffix::Sum}};
    case FamilyType::GaugeHistogram:
      return {type, Suffix::None, {}};
    case FamilyType::Unknown:
      return {type, Suffix::None, {Suffix::None}};
    case FamilyType::Gauge:
    case FamilyType::StateSet:
      break;
  }
  return {};
}

class Arrangement final {
 public:
  explicit Arrangement(MetricForm form) : form_(form) {}

  void Add(std::string_view name, const NamedFamily& named) {
    auto left = named.present;
    if (!named.isDisputed) left.Remove(AddTyped(name, named));
    for (const Suffix suffix : kAllSuffixes) {
      if (left.Has(suffix)) AddTo(name, suffix, FamilyType::Unknown, {name, &named, {suffix}});
    }
  }

  const PageFamilies& Families() const { return families_; }

 private:
  // Gives the suffixes of the samples that have found their place.
  Suffixes AddTyped(std::string_view name, const NamedFamily& named) {
    if (form_ == MetricForm::OpenMetrics) {
      AddTo(name, Suffix::None, named.type, {name, &named, named.present});
      return named.present;
    }
    const auto old = OldFormOf(named.type);
    if (named.present.HasAny(old.suffixes)) {
      AddTo(name, old.suffixOfName, old.type, {name, &named, old.suffixes});
    }
    return old.suffixes;
  }

  void AddTo(std::string_view name, Suffix suffix, FamilyType type, const PageFamily::Source& source) {
    auto& family = families_[std::string(name).append(SuffixText(suffix))];
    family.type = type;
    family.sources.push_back(source);
  }

  MetricForm form_;
  PageFamilies families_;
};

struct Slice {
  const Part* part = nullptr;
  const PageFamily::Source* source = nullptr;
};

std::vector<Slice> SlicesOf(const PageFamily& family) {
  std::vector<Slice> slices;
  for (const auto& source : family.sources) {
    for (const auto& part : source.named->parts) slices.push_back({&part, &source});
  }
  if (family.sources.size() > 1) {
    std::stable_sort(slices.begin(), slices.end(),
                     [](const Slice& left, const Slice& right) { return left.part->vm < right.part->vm; });
  }
  return slices;
}

void AppendSlice(std::string& page, const Slice& slice, std::string_view vmLabel) {
  const auto& [vm, text, family] = *slice.part;
  for (std::uint32_t i = family->firstSample; i < family->endSample; ++i) {
    const Suffix suffix = text->At(i).suffix;
    if (!slice.source->suffixes.Has(suffix)) continue;
    page.append(slice.source->name).append(SuffixText(suffix)).append(vmLabel).append(text->TailOf(i));
  }
}

}  // namespace

void AppendVmFamilies(std::string& page, MetricForm form, std::span<const VmTexts> vms) {
  auto families = Gather(vms);
  DisputeCommonNames(families);
  Arrangement arrangement(form);
  for (const auto& [name, family] : families) arrangement.Add(name, family);
  for (const auto& [name, family] : arrangement.Families()) {
    AppendFamilyHead(page, form, name, family.type, kHelp);
    for (const auto& slice : SlicesOf(family)) AppendSlice(page, slice, vms[slice.part->vm].vmLabel);
  }
}

}  // namespace Fleet

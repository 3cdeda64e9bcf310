#include "fleet/metrics/vmFamilies.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>

#include "fleet/metrics/familyLines.h"
#include "fleet/metrics/familyType.h"

namespace Fleet {
namespace {

constexpr std::string_view kHelp = "Published by VMs.";

// What stands together on the page under one name and type.
struct PageFamily {
  FamilyType type = FamilyType::Unknown;
  std::size_t bytes = 0;  // of its samples
  std::size_t end = 0;    // of those that are written, on the page
};
using PageFamilies = std::map<std::string, PageFamily>;

// One name of a family, in all texts.
struct NamedFamily {
  FamilyType type = FamilyType::Unknown;
  bool isDisputed = false;
  Suffixes possible;  // by the types that it has been given
  // Of its samples, by their suffix.
  std::array<std::size_t, kAllSuffixes.size()> bytes{};
  std::array<PageFamily*, kAllSuffixes.size()> places{};
};
using NamedFamilies = std::map<std::string_view, NamedFamily>;

// Finds the families of a text, in their order. VMs are much alike, and families sorted: the next one is
// mostly the one behind the last one.
class NamedFinder final {
 public:
  explicit NamedFinder(NamedFamilies& families) : families_(families), last_(families.end()) {}

  NamedFamily& Find(std::string_view name) {
    if (last_ != families_.end()) ++last_;
    if (last_ == families_.end() || last_->first != name) last_ = families_.try_emplace(name).first;
    return last_->second;
  }

 private:
  NamedFamilies& families_;
  NamedFamilies::iterator last_;
};

// Calls it with each family of each text: its text, itself, the family of its name, and the VM's label.
template <typename Visit>
void ForEachFamily(std::span<const VmTexts> vms, NamedFamilies& families, Visit visit) {
  for (const auto& vm : vms) {
    for (const auto& text : vm.texts) {
      NamedFinder finder(families);
      for (const auto& family : text->Families()) {
        visit(*text, family, finder.Find(text->NameOf(family)), vm.vmLabel);
      }
    }
  }
}

// The parts of a sample's line.
std::array<std::string_view, 4> LineOf(const KeptText& text, const KeptText::Family& family,
                                       std::uint32_t sample, std::string_view vmLabel) {
  return {text.NameOf(family), SuffixText(text.At(sample).suffix), vmLabel, text.TailOf(sample)};
}

void Gather(const KeptText& text, const KeptText::Family& family, NamedFamily& named,
            std::string_view vmLabel) {
  if (named.possible == Suffixes()) named.type = family.type;
  if (named.type != family.type) named.isDisputed = true;
  named.possible.Add(SuffixesOf(family.type));
  for (std::uint32_t i = family.firstSample; i < family.endSample; ++i) {
    auto& bytes = named.bytes[static_cast<std::size_t>(text.At(i).suffix)];
    for (const auto part : LineOf(text, family, i, vmLabel)) bytes += part.size();
  }
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

// How a family looks on the page: which of its samples belong to it, and what its type and the end of its
// name are.
struct Shape {
  Suffixes suffixes;
  FamilyType type = FamilyType::Unknown;
  Suffix endOfName = Suffix::None;
};

// A gauge histogram is nothing in the old form.
Shape OldShapeOf(FamilyType type) {
  switch (type) {
    case FamilyType::Counter:
      return {{Suffix::Total}, FamilyType::Counter, Suffix::Total};
    case FamilyType::Info:
      return {{Suffix::Info}, FamilyType::Gauge, Suffix::Info};
    case FamilyType::Histogram:
      return {{Suffix::Bucket, Suffix::Count, Suffix::Sum}, type};
    case FamilyType::Summary:
      return {{Suffix::None, Suffix::Count, Suffix::Sum}, type};
    case FamilyType::Gauge:
    case FamilyType::StateSet:
      return {{Suffix::None}, FamilyType::Gauge};
    case FamilyType::GaugeHistogram:
    case FamilyType::Unknown:
      break;
  }
  return {};
}

Shape ShapeOf(const NamedFamily& named, MetricForm form) {
  if (named.isDisputed) return {};
  return form == MetricForm::OpenMetrics ? Shape{SuffixesOf(named.type), named.type} : OldShapeOf(named.type);
}

PageFamily* FindPlace(PageFamilies& page, std::string_view name, Suffix endOfName, FamilyType type) {
  auto& place = page[std::string(name).append(SuffixText(endOfName))];
  place.type = type;
  return &place;
}

// Samples that don't belong to their family are an unknown one under their own name, which several families
// may have in common.
PageFamilies Arrange(NamedFamilies& families, MetricForm form) {
  PageFamilies page;
  for (auto& [name, named] : families) {
    const auto shape = ShapeOf(named, form);
    for (const Suffix suffix : kAllSuffixes) {
      const auto index = static_cast<std::size_t>(suffix);
      if (named.bytes[index] == 0) continue;
      auto* place = shape.suffixes.Has(suffix) ? FindPlace(page, name, shape.endOfName, shape.type)
                                               : FindPlace(page, name, suffix, FamilyType::Unknown);
      named.places[index] = place;
      place->bytes += named.bytes[index];
    }
  }
  return page;
}

// Leaves room for the samples.
void WriteHeads(std::string& page, MetricForm form, PageFamilies& families) {
  constexpr std::size_t kMostOfHead = 512;
  const std::size_t begin = page.size();
  std::size_t bytes = 0;
  for (const auto& [name, family] : families) bytes += kMostOfHead + family.bytes;
  page.reserve(begin + bytes);
  for (auto& [name, family] : families) {
    AppendFamilyHead(page, form, name, family.type, kHelp);
    family.end = page.size();
    page.append(family.bytes, '\n');
  }
}

void WriteSamples(std::string& page, const KeptText& text, const KeptText::Family& family,
                  const NamedFamily& named, std::string_view vmLabel) {
  for (std::uint32_t i = family.firstSample; i < family.endSample; ++i) {
    auto& end = named.places[static_cast<std::size_t>(text.At(i).suffix)]->end;
    for (const auto part : LineOf(text, family, i, vmLabel)) end += part.copy(page.data() + end, part.size());
  }
}

}  // namespace

// The page gets its size at once and is filled VM after VM, not family after family: fresh memory costs more
// than the text in it, and what one VM has lies together.
void AppendVmFamilies(std::string& page, MetricForm form, std::span<const VmTexts> vms) {
  NamedFamilies named;
  ForEachFamily(vms, named, Gather);
  DisputeCommonNames(named);
  auto families = Arrange(named, form);
  WriteHeads(page, form, families);
  ForEachFamily(vms, named, [&](const auto&... sample) { WriteSamples(page, sample...); });
}

}  // namespace Fleet

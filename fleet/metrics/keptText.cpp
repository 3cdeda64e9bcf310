#include "fleet/metrics/keptText.h"

#include <algorithm>
#include <functional>

#include "fleet/metrics/number.h"

namespace Fleet {
namespace {

std::uint64_t HashOfSeries(std::string_view name, std::string_view labels) {
  const std::hash<std::string_view> hash;
  constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15;
  return hash(name) * kOdd + hash(labels);
}

bool IsSameFamily(const SampleEntry& left, const SampleEntry& right) {
  return left.type == right.type && left.Family() == right.Family();
}

}  // namespace

KeptText::KeptText(const std::vector<SampleEntry>& entries) {
  samples_.reserve(entries.size());
  series_.reserve(entries.size());
  const SampleEntry* last = nullptr;
  std::vector<std::string_view> names;
  for (const auto& entry : entries) {
    if (last == nullptr || !IsSameFamily(*last, entry)) {
      const auto first = static_cast<std::uint32_t>(samples_.size());
      names.push_back(entry.Family());
      families_.push_back({0, static_cast<std::uint16_t>(names.back().size()), entry.type, {}, first, first});
    }
    Add(entry);
    last = &entry;
  }
  tailsEnd_ = static_cast<std::uint32_t>(bytes_.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    families_[i].name = static_cast<std::uint32_t>(bytes_.size());
    bytes_.append(names[i]);
  }
  std::sort(series_.begin(), series_.end());
  bytes_.shrink_to_fit();
  families_.shrink_to_fit();
}

void KeptText::Add(const SampleEntry& entry) {
  const std::size_t begin = bytes_.size();
  bytes_.append(entry.labels).append(entry.ownLabel);
  series_.push_back(HashOfSeries(entry.name, std::string_view(bytes_).substr(begin)));
  bytes_.append("} ");
  AppendNumber(bytes_, entry.value);
  bytes_.push_back('\n');
  samples_.push_back({static_cast<std::uint32_t>(begin), entry.suffix});
  families_.back().suffixes.Add(entry.suffix);
  ++families_.back().endSample;
}

std::string_view KeptText::TailOf(std::uint32_t sample) const {
  const std::size_t begin = samples_[sample].tail;
  const std::size_t end = sample + 1 < samples_.size() ? samples_[sample + 1].tail : tailsEnd_;
  return View(begin, end - begin);
}

bool KeptText::HasDuplicates() const {
  return std::adjacent_find(series_.begin(), series_.end()) != series_.end();
}

bool KeptText::Overlaps(const KeptText& other) const {
  auto left = series_.begin();
  auto right = other.series_.begin();
  while (left != series_.end() && right != other.series_.end()) {
    if (*left == *right) return true;
    *left < *right ? ++left : ++right;
  }
  return false;
}

std::size_t KeptText::Bytes() const {
  return sizeof *this + bytes_.capacity() + families_.capacity() * sizeof(Family) +
         samples_.capacity() * sizeof(Sample) + series_.capacity() * sizeof(std::uint64_t);
}

}  // namespace Fleet

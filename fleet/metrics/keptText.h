#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fleet/metrics/sampleEntry.h"

namespace Fleet {

// The samples of one text, ready to be written: of each one there is the end of its line, from behind the
// label vm on. Small, as a host has thousands of VMs.
class KeptText final {
 public:
  struct Sample {
    std::uint32_t tail = 0;  // where it begins
    Suffix suffix = Suffix::None;
  };
  struct Family {
    std::uint32_t name = 0;  // where it begins
    std::uint16_t nameSize = 0;
    FamilyType type = FamilyType::Unknown;
    Suffixes suffixes;  // that its samples have
    std::uint32_t firstSample = 0;
    std::uint32_t endSample = 0;
  };

  KeptText() = default;
  // Requires: the entries of a family stand together.
  explicit KeptText(const std::vector<SampleEntry>& entries);

  // By name, and by type where a text has one name for two.
  const std::vector<Family>& Families() const { return families_; }
  const Sample& At(std::uint32_t sample) const { return samples_[sample]; }
  std::string_view NameOf(const Family& family) const { return View(family.name, family.nameSize); }
  // With the end of the line.
  std::string_view TailOf(std::uint32_t sample) const;

  std::size_t Series() const { return samples_.size(); }
  // Whether it has a series twice, or one of the other text. Compared by hash: a VM that looks for two series
  // with the same one has a text of its own refused.
  bool HasDuplicates() const;
  bool Overlaps(const KeptText& other) const;
  std::size_t Bytes() const;

 private:
  void Add(const SampleEntry& entry);
  std::string_view View(std::size_t begin, std::size_t size) const {
    return std::string_view(bytes_).substr(begin, size);
  }

  std::string bytes_;  // tails, then names
  std::uint32_t tailsEnd_ = 0;
  std::vector<Family> families_;
  std::vector<Sample> samples_;
  std::vector<std::uint64_t> series_;  // hashes, sorted
};

}  // namespace Fleet

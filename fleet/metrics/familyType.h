#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>

namespace Fleet {

enum class FamilyType : std::uint8_t {
  Unknown,
  Gauge,
  Counter,
  Histogram,
  GaugeHistogram,
  Summary,
  StateSet,
  Info,
};

// What stands between the name of a family and the end of a sample's name, in the order of the page.
enum class Suffix : std::uint8_t { None, Total, Bucket, Count, Sum, GaugeCount, GaugeSum, Info, Created };

class Suffixes final {
 public:
  constexpr Suffixes() = default;
  constexpr Suffixes(std::initializer_list<Suffix> suffixes) {
    for (const Suffix suffix : suffixes) Add(suffix);
  }
  constexpr bool operator==(const Suffixes&) const = default;

  constexpr void Add(Suffix suffix) { bits_ = static_cast<std::uint16_t>(bits_ | Bit(suffix)); }
  constexpr void Add(Suffixes others) { bits_ = static_cast<std::uint16_t>(bits_ | others.bits_); }
  constexpr bool Has(Suffix suffix) const { return (bits_ & Bit(suffix)) != 0; }

 private:
  static constexpr unsigned Bit(Suffix suffix) { return 1U << static_cast<unsigned>(suffix); }
  std::uint16_t bits_ = 0;
};

inline constexpr std::initializer_list<Suffix> kAllSuffixes = {
    Suffix::None,       Suffix::Total,    Suffix::Bucket, Suffix::Count,  Suffix::Sum,
    Suffix::GaugeCount, Suffix::GaugeSum, Suffix::Info,   Suffix::Created};

// The words of both forms of the text.
std::optional<FamilyType> ReadFamilyType(std::string_view word);
std::string_view FamilyTypeName(FamilyType type);

// Those of the samples that a family of that type can have.
Suffixes SuffixesOf(FamilyType type);
std::string_view SuffixText(Suffix suffix);
// No name ends with two of them at once.
Suffix SuffixOf(std::string_view name);
std::string_view WithoutSuffix(std::string_view name, Suffix suffix);

}  // namespace Fleet

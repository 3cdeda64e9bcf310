#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string_view>

namespace Fleet {

enum class Refusal {
  Characters,  // no UTF-8, or controls: '\r' too, as neither form of the text has it and Prometheus refuses
               // it
  Syntax,
  Reserved,  // a name or label that isn't the guests' to write
  Type,      // a family declared twice or late, or a sample that its type has no place for
  Duplicate,
  TooLong,
  TooMany,
};

inline constexpr std::array<std::string_view, 7> kRefusalNames = {
    "characters", "syntax", "reserved", "type", "duplicate", "too_long", "too_many"};
using RefusalCounts = std::array<std::uint64_t, kRefusalNames.size()>;

// A guest's text isn't taken, as a whole.
class TextRefused final : public std::exception {
 public:
  explicit TextRefused(Refusal cause) : cause_(cause) {}
  Refusal Cause() const { return cause_; }
  const char* what() const noexcept override {
    return kRefusalNames[static_cast<std::size_t>(cause_)].data();
  }

 private:
  Refusal cause_;
};

}  // namespace Fleet

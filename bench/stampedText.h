#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Bench {

// Nanoseconds of the steady clock.
std::uint64_t NowNs();

// What stands in front of a stamp, in a publication as in an element of a stream.
inline constexpr std::string_view kStampMark = "\"topic\":\"b.";
inline constexpr std::size_t kStampSize = 19;

// A publication of a given size, made once, whose topic says when it was sent: "b." and the decimal NowNs().
class StampedText {
 public:
  explicit StampedText(std::size_t size);
  // Valid until the next call.
  std::string_view Stamp();

 private:
  std::string text_;
  std::size_t stampAt_;
};

}  // namespace Bench

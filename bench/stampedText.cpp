#include "bench/stampedText.h"

#include <chrono>

#include "testing/guestText.h"

namespace Bench {

std::uint64_t NowNs() {
  return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

StampedText::StampedText(std::size_t size)
    : text_(Testing::FilledText(1, "b." + std::string(kStampSize, '0'), size)),
      stampAt_(text_.find(kStampMark) + kStampMark.size()) {}

std::string_view StampedText::Stamp() {
  auto left = NowNs();
  for (auto at = stampAt_ + kStampSize; at > stampAt_; left /= 10) {
    text_[--at] = static_cast<char>('0' + left % 10);
  }
  return text_;
}

}  // namespace Bench

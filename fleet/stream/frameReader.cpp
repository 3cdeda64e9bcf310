#include "fleet/stream/frameReader.h"

#include <charconv>

#include "fleet/stream/call.h"

namespace Fleet {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kLongestSizeLine = 16;

[[noreturn]] void ThrowNoFrames() {
  throw CallFault(CallFault::Kind::Refused, "the answer is no stream of frames");
}

std::size_t ReadSize(std::string_view digits) {
  std::size_t size = 0;
  const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), size, 16);
  if (fault != std::errc() || end != digits.data() + digits.size() || size > FrameReader::kLargestFrame) {
    ThrowNoFrames();
  }
  return size;
}

}  // namespace

std::optional<std::string> FrameReader::Next() {
  const auto line = std::string_view(buffer_).substr(0, kLongestSizeLine + kLineEnd.size());
  const auto lineEnd = line.find(kLineEnd);
  if (lineEnd == std::string_view::npos) {
    const bool canBeSize = line.find_first_not_of("0123456789abcdefABCDEF\r") == std::string_view::npos;
    if (line.size() > kLongestSizeLine || !canBeSize) ThrowNoFrames();
    return std::nullopt;
  }
  const auto begin = lineEnd + kLineEnd.size();
  const auto end = begin + ReadSize(line.substr(0, lineEnd));
  if (buffer_.size() < end + kLineEnd.size()) return std::nullopt;
  if (buffer_.compare(end, kLineEnd.size(), kLineEnd) != 0) ThrowNoFrames();
  auto text = buffer_.substr(begin, end - begin);
  buffer_.erase(0, end + kLineEnd.size());
  return text;
}

}  // namespace Fleet

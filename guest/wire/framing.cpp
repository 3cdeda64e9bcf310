#include "guest/wire/framing.h"

#include <algorithm>
#include <utility>

namespace Wire {
namespace {

constexpr std::size_t kLengthBytes = 4;
// The code of a block of COBS that has as many bytes as a block can have, and no zero behind it.
constexpr unsigned char kFullBlock = 0xFF;
constexpr std::size_t kBlockBytes = kFullBlock - 1;
constexpr std::size_t kLongestEncoded = kLongestFrame + kLongestFrame / kBlockBytes + 1;
// A frame's end can't be foreseen.
constexpr std::size_t kSomeBytes = 4096;
// What is kept between frames without giving memory back.
constexpr std::size_t kSmallCapacity = 1024;

}  // namespace

void Framing::Keep(std::string_view bytes) {
  kept_.append(bytes.substr(0, kMostKept - kept_.size()));
}

std::string_view Framing::End() {
  inFrame_ = false;
  ended_ = true;
  return kept_;
}

void Framing::Release() {
  if (!std::exchange(ended_, false)) return;
  if (kept_.capacity() > kSmallCapacity) {
    // An assignment would keep the room.
    std::string().swap(kept_);
  } else {
    kept_.clear();
  }
}

bool LengthFraming::TakeLength(std::string_view& input) {
  while (lengthBytes_ < kLengthBytes && !input.empty()) {
    length_ = length_ << 8 | static_cast<unsigned char>(input.front());
    input.remove_prefix(1);
    inFrame_ = true;
    if (++lengthBytes_ == kLengthBytes) missing_ = length_;
  }
  failed_ = lengthBytes_ == kLengthBytes && length_ > kLongestFrame;
  return lengthBytes_ == kLengthBytes && !failed_;
}

std::optional<std::string_view> LengthFraming::Next(std::string_view& input) {
  Release();
  if (failed_ || !TakeLength(input)) return std::nullopt;
  const auto part = input.substr(0, missing_);
  input.remove_prefix(part.size());
  missing_ -= part.size();
  const bool isWhole = kept_.empty() && part.size() == length_;
  if (!isWhole) {
    kept_.reserve(std::min<std::size_t>(length_, kMostKept));
    Keep(part);
  }
  if (missing_ != 0) return std::nullopt;
  lengthBytes_ = 0;
  const auto text = End();
  return isWhole ? part.substr(0, kMostKept) : text;
}

std::size_t LengthFraming::Wanted() const {
  return lengthBytes_ < kLengthBytes ? kLengthBytes - lengthBytes_ : missing_;
}

void LengthFraming::Append(std::string& out, std::string_view text) const {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>(text.size() >> shift & 0xFF));
  out.append(text);
}

std::optional<std::string_view> CobsFraming::Next(std::string_view& input) {
  Release();
  while (!failed_ && !input.empty()) {
    const auto end = std::min(input.find('\0'), input.size());
    Decode(input.substr(0, end));
    if (failed_) break;
    if (end == input.size()) {
      input = {};
      return std::nullopt;
    }
    input.remove_prefix(end + 1);
    if (EndFrame()) return End();
    End();
    Release();
  }
  return std::nullopt;
}

std::size_t CobsFraming::Wanted() const {
  return kSomeBytes;
}

void CobsFraming::Decode(std::string_view bytes) {
  if (isSkipping_ || bytes.empty()) return;
  inFrame_ = true;
  size_ += bytes.size();
  failed_ = size_ > kLongestEncoded;
  while (!bytes.empty()) {
    if (left_ == 0) {
      if (zeroFollows_) Keep({"\0", 1});
      const auto code = static_cast<unsigned char>(bytes.front());
      bytes.remove_prefix(1);
      left_ = code - 1U;
      zeroFollows_ = code != kFullBlock;
      continue;
    }
    const auto part = bytes.substr(0, left_);
    Keep(part);
    left_ -= part.size();
    bytes.remove_prefix(part.size());
  }
}

// Whether what stood in front of the zero byte is a text.
bool CobsFraming::EndFrame() {
  const bool isText = size_ > 0 && left_ == 0;
  size_ = left_ = 0;
  zeroFollows_ = isSkipping_ = false;
  return isText;
}

void CobsFraming::Append(std::string& out, std::string_view text) const {
  for (bool isMore = true; isMore;) {
    const auto block = text.substr(0, std::min(text.find('\0'), kBlockBytes));
    out.push_back(static_cast<char>(block.size() + 1));
    out.append(block);
    text.remove_prefix(block.size());
    isMore = !text.empty();
    // The zero itself is told by the end of the block.
    if (isMore && block.size() < kBlockBytes) text.remove_prefix(1);
  }
  out.push_back('\0');
}

}  // namespace Wire

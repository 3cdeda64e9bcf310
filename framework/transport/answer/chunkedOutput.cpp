#include "framework/transport/answer/chunkedOutput.h"

#include <algorithm>
#include <charconv>

namespace Mirel::Transport::Http {

boost::asio::const_buffer SizeLine::Set(std::uint64_t size) {
  char* const begin = text_.data();
  char* end = std::to_chars(begin, begin + text_.size() - kCrLf.size(), size, 16).ptr;
  end = std::copy(kCrLf.begin(), kCrLf.end(), end);
  return {begin, static_cast<std::size_t>(end - begin)};
}

namespace FrameBodyWriter {

const std::vector<boost::asio::const_buffer>& Writer::Frame(const std::vector<std::string_view>& segments,
                                                            std::size_t size) {
  buffers_.clear();
  buffers_.reserve(segments.size() + 2);
  buffers_.push_back(size_.Set(size));
  for (const auto segment : segments) buffers_.emplace_back(segment.data(), segment.size());
  buffers_.emplace_back(kCrLf.data(), kCrLf.size());
  return buffers_;
}

const std::vector<boost::asio::const_buffer>& Writer::Plain(const std::vector<std::string_view>& segments) {
  buffers_.clear();
  for (const auto segment : segments) buffers_.emplace_back(segment.data(), segment.size());
  return buffers_;
}

}  // namespace FrameBodyWriter

namespace HttpDetail {

PieceCursor::PieceCursor(std::span<const boost::asio::const_buffer> buffers) : rest_(buffers) {
  SkipEmpty();
}

std::size_t PieceCursor::Take(std::size_t limit, std::vector<boost::asio::const_buffer>& piece) {
  std::size_t taken = 0;
  while (!AtEnd() && taken < limit) {
    const auto part = boost::asio::buffer(rest_.front() + offset_, limit - taken);
    piece.push_back(part);
    taken += part.size();
    offset_ += part.size();
    SkipEmpty();
  }
  return taken;
}

void PieceCursor::SkipEmpty() {
  while (!rest_.empty() && offset_ == rest_.front().size()) {
    rest_ = rest_.subspan(1);
    offset_ = 0;
  }
}

}  // namespace HttpDetail
}  // namespace Mirel::Transport::Http

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

const Buffers& Writer::Frame(const ORange& bytes) {
  buffers_.assign(1, size_.Set(bytes.Size()));
  Append(bytes);
  buffers_.emplace_back(kCrLf.data(), kCrLf.size());
  return buffers_;
}

const Buffers& Writer::Plain(const ORange& bytes) {
  buffers_.clear();
  Append(bytes);
  return buffers_;
}

void Writer::Append(const ORange& bytes) {
  bytes.ForEachSegment(
      [this](std::string_view segment) { buffers_.emplace_back(segment.data(), segment.size()); });
}

}  // namespace FrameBodyWriter

namespace HttpDetail {

PieceCursor::PieceCursor(std::span<const boost::asio::const_buffer> buffers) : rest_(buffers) {
  SkipEmpty();
}

std::size_t PieceCursor::Take(std::size_t limit, Buffers& piece) {
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

void Consume(Buffers& buffers, std::size_t bytes) {
  auto first = buffers.begin();
  while (first != buffers.end() && bytes >= first->size()) bytes -= first++->size();
  if (first != buffers.end()) *first += bytes;
  buffers.erase(buffers.begin(), first);
}

}  // namespace HttpDetail
}  // namespace Mirel::Transport::Http

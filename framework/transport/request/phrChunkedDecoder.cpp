#include "framework/transport/request/phrChunkedDecoder.h"

#include <algorithm>
#include <cstring>

#include "framework/core/text.h"

namespace Mirel::Transport::PicoHttp {
namespace {

constexpr int kMaxHexDigits = 16;

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsMalformed(char c) {
  return c != '\t' && IsControl(c);
}

}  // namespace

std::pair<std::ptrdiff_t, std::size_t> PhrChunkedDecoder::Decode(const boost::asio::mutable_buffer& buffer) {
  char* const bytes = static_cast<char*>(buffer.data());
  const std::size_t size = buffer.size();
  std::size_t from = 0;
  std::size_t to = 0;
  while (from < size) {
    if (state_ == State::Data) {
      const auto run = static_cast<std::size_t>(std::min<std::uint64_t>(bytesLeftInChunk_, size - from));
      std::memmove(bytes + to, bytes + from, run);
      from += run;
      to += run;
      bytesLeftInChunk_ -= run;
      if (bytesLeftInChunk_ == 0) state_ = State::DataEnd;
      continue;
    }
    switch (Consume(bytes[from++])) {
      case Step::More:
        break;
      case Step::Malformed:
        return {kMalformed, to};
      case Step::End:
        std::memmove(bytes + to, bytes + from, size - from);
        return {static_cast<std::ptrdiff_t>(size - from), to};
    }
  }
  return {kIncomplete, to};
}

PhrChunkedDecoder::Step PhrChunkedDecoder::Consume(char c) {
  switch (state_) {
    case State::Size:
      return SizeByte(c);
    case State::Extension:
      if (c == '\r') {
        state_ = State::SizeLineFeed;
        return Step::More;
      }
      if (c == '\n') return AfterSizeLine();
      return IsMalformed(c) ? Step::Malformed : Step::More;
    case State::SizeLineFeed:
      return c == '\n' ? AfterSizeLine() : Step::Malformed;
    case State::DataEnd:
      if (c != '\r') return LineFeed(c, State::Size);
      state_ = State::DataLineFeed;
      return Step::More;
    case State::DataLineFeed:
      return LineFeed(c, State::Size);
    case State::TrailerStart:
      if (c == '\n') return Step::End;
      if (c == '\r') {
        state_ = State::LastLineFeed;
        return Step::More;
      }
      state_ = State::Trailer;
      return IsMalformed(c) ? Step::Malformed : Step::More;
    case State::Trailer:
      if (c == '\r') {
        state_ = State::TrailerLineFeed;
        return Step::More;
      }
      if (c == '\n') return LineFeed(c, State::TrailerStart);
      return IsMalformed(c) ? Step::Malformed : Step::More;
    case State::TrailerLineFeed:
      return LineFeed(c, State::TrailerStart);
    case State::LastLineFeed:
      return c == '\n' ? Step::End : Step::Malformed;
    case State::Data:
      break;
  }
  return Step::Malformed;
}

PhrChunkedDecoder::Step PhrChunkedDecoder::SizeByte(char c) {
  if (const int digit = HexValue(c); digit >= 0) {
    if (hexCount_ == kMaxHexDigits) return Step::Malformed;
    ++hexCount_;
    bytesLeftInChunk_ = bytesLeftInChunk_ * 16 + static_cast<std::uint64_t>(digit);
    return Step::More;
  }
  if (hexCount_ == 0) return Step::Malformed;
  hexCount_ = 0;
  if (c == '\n') return AfterSizeLine();
  if (c != '\r' && c != ';' && c != ' ' && c != '\t') return Step::Malformed;
  state_ = c == '\r' ? State::SizeLineFeed : State::Extension;
  return Step::More;
}

PhrChunkedDecoder::Step PhrChunkedDecoder::AfterSizeLine() {
  state_ = bytesLeftInChunk_ == 0 ? State::TrailerStart : State::Data;
  return Step::More;
}

PhrChunkedDecoder::Step PhrChunkedDecoder::LineFeed(char c, State next) {
  if (c != '\n') return Step::Malformed;
  state_ = next;
  return Step::More;
}

}  // namespace Mirel::Transport::PicoHttp

#pragma once

#include <boost/asio/buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Mirel::Transport::PicoHttp {

// Removes the chunked transfer coding (RFC 9112, 7.1) from a body, piece by piece, within the caller's
// buffer. Sizes go up to 2^64-1, in at most 16 digits; extensions and trailers are read and dropped.
class PhrChunkedDecoder {
 public:
  static constexpr std::ptrdiff_t kMalformed = -1;
  static constexpr std::ptrdiff_t kIncomplete = -2;

  // Gives a result and the number of body bytes that are now at the start of the buffer. A result of 0 or
  // more means that the body has ended; it is the number of bytes after the body, which are now right behind
  // it. Requires: no earlier call has given the end or kMalformed.
  std::pair<std::ptrdiff_t, std::size_t> Decode(const boost::asio::mutable_buffer& buffer);

 private:
  enum class State {
    Size,
    Extension,
    SizeLineFeed,
    Data,
    DataEnd,
    DataLineFeed,
    TrailerStart,
    Trailer,
    TrailerLineFeed,
    LastLineFeed,
  };
  enum class Step { More, End, Malformed };

  Step Consume(char c);
  Step SizeByte(char c);
  Step AfterSizeLine();
  Step LineFeed(char c, State next);

  // Invariants:
  // 1. In State::Data, bytesLeftInChunk_ is what is missing of the chunk, at least one byte.
  // 2. From State::DataEnd up to the first digit of the next size, and in the trailer, bytesLeftInChunk_ is
  //    0.
  // 3. In State::Size, hexCount_ is the number of digits so far; in all other states it is 0.
  std::uint64_t bytesLeftInChunk_ = 0;
  int hexCount_ = 0;
  State state_ = State::Size;
};

}  // namespace Mirel::Transport::PicoHttp

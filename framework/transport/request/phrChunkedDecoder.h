#pragma once

#include <boost/asio/buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Mirel::Transport::PicoHttp {

// Takes the chunked transfer coding (RFC 9112, 7.1) off a body, piece by piece, where the bytes lie. Sizes
// up to 2^64-1 in at most 16 digits; extensions and trailers are read and dropped.
class PhrChunkedDecoder {
 public:
  static constexpr std::ptrdiff_t kMalformed = -1;
  static constexpr std::ptrdiff_t kIncomplete = -2;

  // Gives a result and the number of body bytes that are now at the start of the buffer. A result of 0 or
  // more means that the body has ended, and that so many bytes of what follows are right after it.
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

  std::uint64_t bytesLeftInChunk_ = 0;
  int hexCount_ = 0;
  State state_ = State::Size;
};

}  // namespace Mirel::Transport::PicoHttp

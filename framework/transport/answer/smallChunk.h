#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <cstddef>

#include "framework/core/oRange.h"

namespace Mirel::Transport::Http::HttpDetail {

// A whole body as one chunk in one buffer, for elements without a long payload: the kernel takes more time
// for a list of buffers than a copy of so few bytes takes. Lives on the stack, for the time of one write.
class SmallChunk {
 public:
  static bool Fits(const ORange& body) { return body.Size() != 0 && body.Size() <= kMostBytes; }

  // With `framed`, the body is in a frame of its own. Requires: it fits.
  SmallChunk(const ORange& body, bool framed);
  SmallChunk(const SmallChunk&) = delete;
  SmallChunk& operator=(const SmallChunk&) = delete;

  boost::asio::const_buffer Bytes() const { return {text_.data(), size_}; }

 private:
  static constexpr std::size_t kMostBytes = 4608;
  static constexpr std::size_t kMostAround = 32;  // two size lines and two line ends

  void Append(boost::asio::const_buffer bytes);

  std::array<char, kMostBytes + kMostAround> text_;
  std::size_t size_ = 0;
};

}  // namespace Mirel::Transport::Http::HttpDetail

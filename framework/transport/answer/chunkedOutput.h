#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/core/oRange.h"

namespace Mirel::Transport::Http {

using Buffers = std::vector<boost::asio::const_buffer>;

// A size in lowercase hexadecimal and CR LF, as it is in front of a chunk and of a frame.
class SizeLine {
 public:
  // The text is valid until the next call.
  boost::asio::const_buffer Set(std::uint64_t size);

 private:
  std::array<char, 18> text_;
};

inline constexpr std::string_view kCrLf = "\r\n";

}  // namespace Mirel::Transport::Http

namespace Mirel::Transport::Http::FrameBodyWriter {

// Puts one frame around serialized bytes, without copying them.
class Writer {
 public:
  // The buffers point into this object and to the bytes.
  const Buffers& Frame(const ORange& bytes);
  const Buffers& Plain(const ORange& bytes);

 private:
  void Append(const ORange& bytes);

  SizeLine size_;
  Buffers buffers_;
};

}  // namespace Mirel::Transport::Http::FrameBodyWriter

namespace Mirel::Transport::Http::HttpDetail {

// Walks a list of buffers in pieces of a limited size, which may begin and end within a buffer.
class PieceCursor {
 public:
  PieceCursor() = default;
  explicit PieceCursor(std::span<const boost::asio::const_buffer> buffers);

  bool AtEnd() const { return rest_.empty(); }
  // Appends the next piece to `piece` and gives its size.
  std::size_t Take(std::size_t limit, Buffers& piece);

 private:
  void SkipEmpty();

  std::span<const boost::asio::const_buffer> rest_;
  // How much of the first buffer is taken.
  std::size_t offset_ = 0;
};

// Removes so many bytes from the beginning.
void Consume(Buffers& buffers, std::size_t bytes);

// The chunked output of one response (RFC 9112, 7.1): chunks of at most kMaxChunk bytes, kChunksAWrite of
// them with one write on the stream. Requires: one body at a time, whose bytes and list the caller keeps
// until it has ended.
template <typename Stream>
class OutChunkedBodyStrm {
 public:
  static constexpr std::size_t kMaxChunk = 65536;
  // The longest publication is two chunks.
  static constexpr std::size_t kChunksAWrite = 2;

  explicit OutChunkedBodyStrm(std::shared_ptr<Stream> stream) : stream_(std::move(stream)) {}

  // Gives a body to the kernel as far as that takes it at once; so many bytes of its first chunk have been
  // written before. False if there is a rest, which AsyncWriteRest has to write; true if the body has ended,
  // perhaps with an error. `followed` as in the stream's WriteNow.
  bool WriteNow(std::span<const boost::asio::const_buffer> bytes, std::size_t written, bool followed,
                boost::system::error_code& error) {
    left_ = PieceCursor(bytes);
    while (!left_.AtEnd()) {
      NextChunks();
      Consume(chunks_, written);
      written = 0;
      Consume(chunks_, stream_->WriteNow(chunks_, followed || !left_.AtEnd(), error));
      if (error) return true;
      if (!chunks_.empty()) return false;
    }
    return true;
  }

  // The handler takes an error code. Requires: it keeps this object alive.
  template <typename Handler>
  void AsyncWriteRest(Handler handler) {
    boost::asio::async_write(
        *stream_, std::span<const boost::asio::const_buffer>(chunks_),
        [this, handler = std::move(handler)](const boost::system::error_code& error, std::size_t) mutable {
          if (error || left_.AtEnd()) {
            handler(error);
          } else {
            NextChunks();
            AsyncWriteRest(std::move(handler));
          }
        });
  }

  template <typename Handler>
  void AsyncWriteLastChunk(Handler handler) {
    static constexpr std::string_view kLastChunk = "0\r\n\r\n";
    boost::asio::async_write(*stream_, boost::asio::buffer(kLastChunk),
                             [handler = std::move(handler)](const boost::system::error_code& error,
                                                            std::size_t) mutable { handler(error); });
  }

 private:
  void NextChunks() {
    chunks_.clear();
    for (auto& size : sizes_) {
      if (left_.AtEnd()) return;
      const auto begin = chunks_.size();
      chunks_.emplace_back();
      chunks_[begin] = size.Set(left_.Take(kMaxChunk, chunks_));
      chunks_.emplace_back(kCrLf.data(), kCrLf.size());
    }
  }

  std::shared_ptr<Stream> stream_;
  Buffers chunks_;
  std::array<SizeLine, kChunksAWrite> sizes_;
  // What isn't in chunks_ yet of the bytes that are being written.
  PieceCursor left_;
};

}  // namespace Mirel::Transport::Http::HttpDetail

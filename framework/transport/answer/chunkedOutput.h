#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace Mirel::Transport::Http {

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
  const std::vector<boost::asio::const_buffer>& Frame(const std::vector<std::string_view>& segments,
                                                      std::size_t size);
  const std::vector<boost::asio::const_buffer>& Plain(const std::vector<std::string_view>& segments);

 private:
  SizeLine size_;
  std::vector<boost::asio::const_buffer> buffers_;
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
  std::size_t Take(std::size_t limit, std::vector<boost::asio::const_buffer>& piece);

 private:
  void SkipEmpty();

  std::span<const boost::asio::const_buffer> rest_;
  // How much of the first buffer is taken.
  std::size_t offset_ = 0;
};

// The chunked output of one response (RFC 9112, 7.1). Requires: one write at a time.
template <typename Stream>
class OutChunkedBodyStrm {
 public:
  static constexpr std::size_t kMaxChunk = 65536;

  explicit OutChunkedBodyStrm(std::shared_ptr<Stream> stream) : stream_(std::move(stream)) {}

  // Writes the bytes as chunks of at most kMaxChunk, each with one write on the stream. The handler takes an
  // error code. Requires: it keeps this object, the list and the bytes alive.
  template <typename Handler>
  void AsyncWrite(std::span<const boost::asio::const_buffer> bytes, Handler handler) {
    left_ = PieceCursor(bytes);
    if (left_.AtEnd()) {
      boost::asio::post(stream_->get_executor(),
                        [handler = std::move(handler)]() mutable { handler(boost::system::error_code()); });
    } else {
      WriteChunk(std::move(handler));
    }
  }

  template <typename Handler>
  void AsyncWriteLastChunk(Handler handler) {
    static constexpr std::string_view kLastChunk = "0\r\n\r\n";
    boost::asio::async_write(*stream_, boost::asio::buffer(kLastChunk),
                             [handler = std::move(handler)](const boost::system::error_code& error,
                                                            std::size_t) mutable { handler(error); });
  }

 private:
  template <typename Handler>
  void WriteChunk(Handler handler) {
    chunk_.assign(1, boost::asio::const_buffer());
    chunk_.front() = size_.Set(left_.Take(kMaxChunk, chunk_));
    chunk_.emplace_back(kCrLf.data(), kCrLf.size());
    boost::asio::async_write(
        *stream_, std::span<const boost::asio::const_buffer>(chunk_),
        [this, handler = std::move(handler)](const boost::system::error_code& error, std::size_t) mutable {
          if (error || left_.AtEnd()) {
            handler(error);
          } else {
            WriteChunk(std::move(handler));
          }
        });
  }

  std::shared_ptr<Stream> stream_;
  std::vector<boost::asio::const_buffer> chunk_;
  SizeLine size_;
  // What isn't in chunk_ yet of the bytes that are being written.
  PieceCursor left_;
};

}  // namespace Mirel::Transport::Http::HttpDetail

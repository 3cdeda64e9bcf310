#pragma once

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "framework/transport/connection/asyncPutbackStream.h"
#include "framework/transport/connection/ioStream.h"
#include "framework/transport/request/phrChunkedDecoder.h"
#include "framework/transport/request/transportErrors.h"

// Layers on a connection through which one request's body is read. A layer gives bytes, then an error; the
// end of the body is the error EndOfBody. Requires: one read at a time, whose handler keeps the layer alive.
// Each layer sees to it that the connection's next request finds all that comes after the body.
namespace Mirel::Transport::PicoHttp::PicoHttpDetail {

// What the layers share: access to the layer below.
template <typename StreamPtr>
class BodyLayer {
 public:
  using executor_type = Asio::Executor;

  explicit BodyLayer(StreamPtr below) : below_(std::move(below)) {}

  executor_type get_executor() noexcept { return below_->get_executor(); }
  Asio::IoStream& Base() { return below_->Base(); }

 protected:
  template <typename Handler>
  void PostEnd(Handler&& handler) {
    boost::asio::post(get_executor(), [handler = std::forward<Handler>(handler)]() mutable {
      handler(boost::system::error_code(Http::Error::Code::EndOfBody), std::size_t{0});
    });
  }

  StreamPtr below_;
};

// A body of known length. Invariant: remaining_ bytes of it haven't been read, and none after it have.
template <typename StreamPtr>
class AsyncHttpBodyStream final : public BodyLayer<StreamPtr> {
 public:
  AsyncHttpBodyStream(StreamPtr below, std::uint64_t total)
      : BodyLayer<StreamPtr>(std::move(below)), remaining_(total) {}

  std::uint64_t Remaining() const { return remaining_; }

  template <typename Handler>
  void async_read_some(const boost::asio::mutable_buffer& buffer, Handler&& handler) {
    if (remaining_ == 0) {
      End(std::forward<Handler>(handler));
      return;
    }
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), remaining_));
    this->below_->async_read_some(boost::asio::buffer(buffer, size),
                                  [this, handler = std::forward<Handler>(handler)](
                                      boost::system::error_code error, std::size_t bytes) mutable {
                                    remaining_ -= bytes;
                                    if (error == boost::asio::error::eof) {
                                      error = Error::Code::IncompleteBody;
                                      bytes = 0;
                                    }
                                    handler(error, bytes);
                                  });
  }

 private:
  // A client that waits for "100 Continue" gets it even when it has nothing to send.
  template <typename Handler>
  void End(Handler&& handler) {
    if constexpr (requires { this->below_->Pending100(); }) {
      if (this->below_->Pending100()) {
        this->below_->AsyncSend100([handler = std::forward<Handler>(handler)](
                                       const boost::system::error_code& error) mutable {
          handler(error ? error : boost::system::error_code(Http::Error::Code::EndOfBody), std::size_t{0});
        });
        return;
      }
    }
    this->PostEnd(std::forward<Handler>(handler));
  }

  std::uint64_t remaining_;
};

// A chunked body, decoded within the reader's buffer. Invariants:
// 1. The decoder has seen every byte that was read from below, in order.
// 2. Once finished_ is set, nothing is read from below, and what was read after the body has been put back.
template <typename StreamPtr>
class AsyncHttpChunkedBodyStream final : public BodyLayer<StreamPtr> {
 public:
  using BodyLayer<StreamPtr>::BodyLayer;

  template <typename Handler>
  void async_read_some(const boost::asio::mutable_buffer& buffer, Handler&& handler) {
    if (finished_) {
      this->PostEnd(std::forward<Handler>(handler));
      return;
    }
    this->below_->async_read_some(buffer, [this, buffer, handler = std::forward<Handler>(handler)](
                                              boost::system::error_code error, std::size_t bytes) mutable {
      if (error == boost::asio::error::eof) {
        error = Error::Code::IncompleteBody;
        bytes = 0;
      } else if (!error) {
        error = Decode(boost::asio::buffer(buffer, bytes), bytes);
      }
      handler(error, bytes);
    });
  }

  // Whether the body was read to its last chunk. A reader may take it for complete before: a read that brings
  // nothing but a part of a chunk's size gives no bytes and no error, as the end of a body does.
  bool Finished() const { return finished_; }

 private:
  // Leaves the number of body bytes in `decoded`.
  boost::system::error_code Decode(const boost::asio::mutable_buffer& raw, std::size_t& decoded) {
    const auto [rest, body] = decoder_.Decode(raw);
    decoded = body;
    if (rest == PhrChunkedDecoder::kIncomplete) return {};
    if (rest == PhrChunkedDecoder::kMalformed) {
      decoded = 0;
      return Error::Code::ChunkParse;
    }
    if (rest > 0) {
      std::error_code ec;
      this->below_->PutBack(boost::asio::buffer(raw + decoded, static_cast<std::size_t>(rest)), ec);
      if (ec) {
        decoded = 0;
        return Http::Error::Code::MessageTooLong;
      }
    }
    finished_ = true;
    return {};
  }

  PhrChunkedDecoder decoder_;
  bool finished_ = false;
};

// Answers "100 Continue" to a waiting client (RFC 9110, 10.1.1) at the first read, and not before.
// Invariants:
// 1. Nothing is read from below while pending100_ is set.
// 2. held_ has what was put back here and hasn't been read again; it is read before anything from below.
template <typename StreamPtr>
class AsyncExpectContinueStream final : public BodyLayer<StreamPtr> {
 public:
  using BodyLayer<StreamPtr>::BodyLayer;

  void PutBack(const boost::asio::const_buffer& bytes, std::error_code& ec) { held_.PutBack(bytes, ec); }

  // Bytes that haven't been read belong to the connection's next request.
  void ReturnHeld(std::error_code& ec) { this->below_->PutBack(held_.Held(), ec); }

  bool Pending100() const { return pending100_; }
  // The handler gets an error code.
  template <typename Handler>
  void AsyncSend100(Handler&& handler) {
    static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    boost::asio::async_write(this->Base(), boost::asio::buffer(kContinue),
                             [this, handler = std::forward<Handler>(handler)](
                                 const boost::system::error_code& error, std::size_t) mutable {
                               pending100_ = false;
                               handler(error);
                             });
  }

  template <typename Handler>
  void async_read_some(const boost::asio::mutable_buffer& buffer, Handler&& handler) {
    if (!pending100_) {
      Read(buffer, std::forward<Handler>(handler));
      return;
    }
    AsyncSend100([this, buffer,
                  handler = std::forward<Handler>(handler)](const boost::system::error_code& error) mutable {
      if (error) {
        handler(error, std::size_t{0});
      } else {
        Read(buffer, std::move(handler));
      }
    });
  }

 private:
  template <typename Handler>
  void Read(const boost::asio::mutable_buffer& buffer, Handler&& handler) {
    if (held_.Empty()) {
      this->below_->async_read_some(buffer, std::forward<Handler>(handler));
    } else {
      Asio::ReadPutBack(held_, this->get_executor(), buffer, std::forward<Handler>(handler));
    }
  }

  Asio::PutBackBuffer held_;
  bool pending100_ = true;
};

}  // namespace Mirel::Transport::PicoHttp::PicoHttpDetail

namespace Mirel::Transport::PicoHttp {

// The six stacks a body can be read through.
using ExpectStream = PicoHttpDetail::AsyncExpectContinueStream<std::shared_ptr<Asio::IoStream>>;
template <typename Below>
using CountedBody = PicoHttpDetail::AsyncHttpBodyStream<std::shared_ptr<Below>>;
template <typename Below>
using ChunkedBody = PicoHttpDetail::AsyncHttpChunkedBodyStream<std::shared_ptr<Below>>;

}  // namespace Mirel::Transport::PicoHttp

#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <boost/system/error_code.hpp>
#include <functional>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "framework/core/log.h"
#include "framework/transport/connection/requestLog.h"
#include "framework/transport/request/bodyStreams.h"
#include "framework/transport/request/serverRequest.h"

namespace Mirel::Transport::PicoHttp {

// Chooses the stack through which a request's body is read, or answers a refused head. `H` is called with
// the stack, the request and the continuation.
template <typename H>
class BodyHttpHandler {
 public:
  using Continuation = std::function<void()>;
  using RequestPtr = std::shared_ptr<ServerDetail::Request>;
  using ConnectionPtr = std::shared_ptr<Asio::IoStream>;

  BodyHttpHandler(H handler, std::shared_ptr<Log::Logger> logger)
      : handler_(std::move(handler)), logger_(std::move(logger)) {}

  // The remainder is what was read after the head. Without a continuation the connection is not kept.
  void operator()(const ConnectionPtr& connection, const RequestPtr& request,
                  const boost::asio::const_buffer& remainder, const Continuation& continuation) const {
    if (request->bad) {
      AnswerAndClose(connection, kBadRequest);
    } else if (!request->hasExpect) {
      ChooseBody(connection, request, remainder, continuation);
    } else if (request->expectContinue) {
      const auto expecting = std::make_shared<ExpectStream>(connection);
      ChooseBody(expecting, request, remainder, Returning(expecting, continuation));
    } else {
      Log::Write(logger_, kServer, "Invalid Http request: Expect header value is not 100-continue");
      AnswerAndClose(connection, kExpectationFailed);
    }
  }

 private:
  static constexpr std::string_view kBadRequest =
      "HTTP/1.1 400 Bad Request\r\n"
      "Content-Length: 0\r\n"
      "Connection: close\r\n"
      "Server: Mirel-PicoHttp\r\n"
      "\r\n";
  // Without the empty line: the close that follows ends this head.
  static constexpr std::string_view kExpectationFailed =
      "HTTP/1.1 417 Expectation Failed\r\n"
      "Connection: close\r\n"
      "Content-Length: 0\r\n";

  static void Close(Asio::IoStream& connection) {
    boost::system::error_code ignored;
    connection.LowestSocket().close(ignored);
  }

  // The next request is read from the connection, so what this one has left is put back there.
  static Continuation Returning(const std::shared_ptr<ExpectStream>& expecting,
                                const Continuation& continuation) {
    if (!continuation) return nullptr;
    return [expecting, continuation] {
      std::error_code ec;
      expecting->ReturnHeld(ec);
      if (ec) {
        Close(expecting->Base());
      } else {
        continuation();
      }
    };
  }

  // Otherwise the rest of a chunked body would be read as the next request.
  template <typename Body>
  static Continuation OnceRead(const std::shared_ptr<Body>& body, const Continuation& continuation) {
    if (!continuation) return nullptr;
    return [body, continuation] {
      if (body->Finished()) {
        continuation();
      } else {
        Close(body->Base());
      }
    };
  }

  template <typename Stream>
  void ChooseBody(const std::shared_ptr<Stream>& stream, const RequestPtr& request,
                  const boost::asio::const_buffer& remainder, const Continuation& continuation) const {
    std::error_code ec;
    stream->PutBack(remainder, ec);
    if (ec) {
      Close(stream->Base());
    } else if (request->chunked) {
      const auto body = std::make_shared<ChunkedBody<Stream>>(stream);
      handler_(body, request, OnceRead(body, continuation));
    } else if (request->hasContentLength) {
      handler_(std::make_shared<CountedBody<Stream>>(stream, request->contentLength), request, continuation);
    } else {
      handler_(stream, request, continuation);
    }
  }

  void AnswerAndClose(const ConnectionPtr& connection, std::string_view answer) const {
    boost::asio::async_write(
        *connection, boost::asio::buffer(answer),
        [connection, logger = logger_](const boost::system::error_code& error, std::size_t) {
          if (error) Log::Write(logger, kServer, "Failed to deliver response. EC: ", error.message());
          Close(*connection);
        });
  }

  H handler_;
  std::shared_ptr<Log::Logger> logger_;
};

}  // namespace Mirel::Transport::PicoHttp

#pragma once

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

#include "framework/core/log.h"
#include "framework/transport/connection/ioStream.h"
#include "framework/transport/connection/requestLog.h"
#include "framework/transport/request/phrParse.h"
#include "framework/transport/request/serverRequest.h"
#include "framework/transport/request/transportErrors.h"

namespace Mirel::Transport::PicoHttp {

// Reads the heads of a connection's requests, one request after the other, and calls `H` with each head and
// the bytes that were read after it. Connections in progress hold references to it.
template <typename H>
class PicoHttpStreamHandler final : public std::enable_shared_from_this<PicoHttpStreamHandler<H>> {
 public:
  using StreamPtr = std::shared_ptr<Asio::IoStream>;

  PicoHttpStreamHandler(H handler, std::shared_ptr<Log::Logger> logger)
      : handler_(std::move(handler)), logger_(std::move(logger)) {}

  // Starts the connection's next request.
  void operator()(const StreamPtr& stream) const {
    stream->TableSlot().Enter(Asio::Stage::AwaitsHead);
    auto request = std::make_shared<ServerDetail::Request>();
    request->head.headerCount = PhrRequest::kMaxHeaders;
    Read(stream, std::move(request), 0);
  }

 private:
  using RequestPtr = std::shared_ptr<ServerDetail::Request>;

  void Read(const StreamPtr& stream, RequestPtr request, std::size_t used) const {
    const auto space = request->FreeSpace(used);
    stream->async_read_some(space, [self = this->shared_from_this(), stream, request = std::move(request),
                                    used](const boost::system::error_code& error, std::size_t bytes) {
      self->OnRead(stream, request, used, error, bytes);
    });
  }

  void OnRead(const StreamPtr& stream, const RequestPtr& request, std::size_t used,
              const boost::system::error_code& error, std::size_t bytes) const {
    if (error && bytes == 0) {
      Fail(stream, request, error);
      return;
    }
    const std::size_t total = used + bytes;
    const long headLength = PhrParse(boost::asio::buffer(request->buffer.data(), total), request->head, used);
    if (headLength == kPhrMalformed) {
      Fail(stream, request, Error::Code::HeadersParse);
    } else if (headLength != kPhrIncomplete) {
      OnHead(stream, request,
             boost::asio::buffer(request->buffer.data(), total) + static_cast<std::size_t>(headLength));
    } else if (total < request->buffer.size()) {
      Read(stream, request, total);
    } else {
      Fail(stream, request, Error::Code::HeadersTooLong);
    }
  }

  void OnHead(const StreamPtr& stream, const RequestPtr& request,
              const boost::asio::const_buffer& remainder) const {
    if (const auto error = ServerDetail::InterpretHead(*request)) {
      Fail(stream, request, error);
      return;
    }
    stream->TableSlot().Enter(Asio::Stage::AwaitsBody);
    std::function<void()> continuation;
    if (request->keepAlive) continuation = [self = this->shared_from_this(), stream] { (*self)(stream); };
    handler_(stream, request, remainder, continuation);
  }

  // A peer that leaves between requests is the normal end of a connection.
  void Fail(const StreamPtr& stream, const RequestPtr& request,
            const boost::system::error_code& error) const {
    if (error == boost::asio::error::eof) {
      boost::system::error_code ignored;
      stream->LowestSocket().close(ignored);
      return;
    }
    Log::Write(logger_, kServer, "Invalid Http request");
    request->bad = true;
    handler_(stream, request, {}, nullptr);
  }

  H handler_;
  std::shared_ptr<Log::Logger> logger_;
};

}  // namespace Mirel::Transport::PicoHttp

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "framework/transport/connection/ioStream.h"
#include "framework/transport/request/headerRange.h"

namespace Mirel::Transport::PicoHttp {

// One request on a connection, read through the stack `StreamT`. Its address names the request in logs.
template <typename StreamT>
class HttpServerTransaction {
 public:
  using Stream = StreamT;

  HttpServerTransaction(std::shared_ptr<Stream> stream, const std::shared_ptr<HeaderRange>& headers)
      : stream_(std::move(stream)) {
    for (; !headers->AtEnd(); headers->Advance()) {
      if (headers->Current().Name() != ":method") continue;
      method_ = headers->Current().Value();
      break;
    }
  }

  Stream& BodyStream() { return *stream_; }
  const std::string& Method() const { return method_; }
  // Of the body, before it is read; none when the head doesn't say it.
  std::optional<std::uint64_t> BodyLength() const {
    if constexpr (requires { stream_->Remaining(); }) {
      return stream_->Remaining();
    } else {
      return std::nullopt;
    }
  }
  // The connection, together with the layers on it.
  std::shared_ptr<Asio::IoStream> Connection() const { return {stream_, &stream_->Base()}; }

 private:
  std::shared_ptr<Stream> stream_;
  std::string method_;
};

}  // namespace Mirel::Transport::PicoHttp

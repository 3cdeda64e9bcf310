#pragma once

#include <memory>
#include <string>
#include <utility>

#include "framework/core/forwardRange.h"
#include "framework/transport/ioStream.h"

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
  // The connection, together with the layers on it.
  std::shared_ptr<Asio::IoStream> Connection() const { return {stream_, &stream_->Base()}; }

 private:
  std::shared_ptr<Stream> stream_;
  std::string method_;
};

}  // namespace Mirel::Transport::PicoHttp

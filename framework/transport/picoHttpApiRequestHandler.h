#pragma once

#include <functional>
#include <memory>

#include "framework/transport/answer/protocolHandlerSpec.h"
#include "framework/transport/request/bodyStreams.h"
#include "framework/transport/request/serverRequest.h"

namespace Mirel::Transport::PicoHttp {

// Serves one request whose body is read through a stack. The continuation starts the connection's next
// request; without one the connection ends with this request.
class PicoHttpApiRequestHandler {
 public:
  using Continuation = std::function<void()>;

  explicit PicoHttpApiRequestHandler(Http::ProtocolHandlerSpec spec) : spec_(std::move(spec)) {}

  template <typename Stream>
  void operator()(const std::shared_ptr<Stream>& stream,
                  const std::shared_ptr<ServerDetail::Request>& request,
                  const Continuation& continuation) const;

 private:
  Http::ProtocolHandlerSpec spec_;
};

}  // namespace Mirel::Transport::PicoHttp

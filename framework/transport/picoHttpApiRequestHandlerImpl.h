#pragma once

#include "framework/core/dataValue.h"
#include "framework/transport/asyncTransactionProtocolHandler.h"
#include "framework/transport/httpServerTransaction.h"
#include "framework/transport/picoHttpApiRequestHandler.h"
#include "framework/transport/request/headerRequestRange.h"

namespace Mirel::Transport::PicoHttp {

// The end of a request: the connection goes on, ends with its last reference, or is closed after an error.
void EndRequest(Asio::IoStream& connection, RequestId id, const std::shared_ptr<Log::Logger>& logger,
                const std::shared_ptr<const Data::ErrorValue>& error,
                const PicoHttpApiRequestHandler::Continuation& continuation);

template <typename Stream>
void PicoHttpApiRequestHandler::operator()(const std::shared_ptr<Stream>& stream,
                                           const std::shared_ptr<ServerDetail::Request>& request,
                                           const Continuation& continuation) const {
  using Transaction = HttpServerTransaction<Stream>;
  using Handler = Http::AsyncTransactionProtocolHandler<Transaction, Http::RequestSpecExtractor>;

  const auto headers = HttpRequest(request).headersPtr();
  const auto transaction = std::make_shared<Transaction>(stream, headers);
  const auto connection = transaction->Connection();
  const RequestId id{transaction.get()};
  std::make_shared<Handler>(transaction, headers, spec_)
      ->Handle([id, logger = spec_.logger] { Log::Write(logger, kFailure, "Request received", id); },
               [id, connection, logger = spec_.logger,
                continuation](const std::shared_ptr<const Data::ErrorValue>& error) {
                 EndRequest(*connection, id, logger, error, continuation);
               });
}

}  // namespace Mirel::Transport::PicoHttp

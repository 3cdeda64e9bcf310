#include "framework/transport/picoHttpApiRequestHandlerImpl.h"

namespace Mirel::Transport::PicoHttp {

void EndRequest(Asio::IoStream& connection, RequestId id, const std::shared_ptr<Log::Logger>& logger,
                const std::shared_ptr<const Data::ErrorValue>& error,
                const PicoHttpApiRequestHandler::Continuation& continuation) {
  if (error) {
    Log::Write(logger, kNormal, "Handle request error: ", id, error->ToString());
    boost::system::error_code ignored;
    connection.LowestSocket().close(ignored);
    return;
  }
  Log::Write(logger, kNormal, "Request handled", id);
  if (continuation) continuation();
}

using Request = ServerDetail::Request;
using Continuation = PicoHttpApiRequestHandler::Continuation;

template void PicoHttpApiRequestHandler::operator()(const std::shared_ptr<Asio::IoStream>&,
                                                    const std::shared_ptr<Request>&,
                                                    const Continuation&) const;
template void PicoHttpApiRequestHandler::operator()(const std::shared_ptr<CountedBody<Asio::IoStream>>&,
                                                    const std::shared_ptr<Request>&,
                                                    const Continuation&) const;
template void PicoHttpApiRequestHandler::operator()(const std::shared_ptr<ChunkedBody<Asio::IoStream>>&,
                                                    const std::shared_ptr<Request>&,
                                                    const Continuation&) const;
template void PicoHttpApiRequestHandler::operator()(const std::shared_ptr<ExpectStream>&,
                                                    const std::shared_ptr<Request>&,
                                                    const Continuation&) const;
template void PicoHttpApiRequestHandler::operator()(const std::shared_ptr<CountedBody<ExpectStream>>&,
                                                    const std::shared_ptr<Request>&,
                                                    const Continuation&) const;
template void PicoHttpApiRequestHandler::operator()(const std::shared_ptr<ChunkedBody<ExpectStream>>&,
                                                    const std::shared_ptr<Request>&,
                                                    const Continuation&) const;

}  // namespace Mirel::Transport::PicoHttp

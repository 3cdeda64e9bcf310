#pragma once

#include <boost/system/error_code.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/log.h"
#include "framework/core/oRange.h"
#include "framework/transport/answer/asyncProtocolHandler.h"
#include "framework/transport/answer/chunkedOutput.h"
#include "framework/transport/answer/protocolHandlerSpec.h"
#include "framework/transport/answer/writeTurn.h"
#include "framework/transport/connection/ioStream.h"
#include "framework/transport/connection/requestLog.h"
#include "framework/transport/request/requestSpecExtractor.h"

namespace Mirel::Transport::Http {

// Answers one request. All answers go to the connection itself, whatever layers the body was read through.
// Pending writes and the result callbacks that the provider holds keep it alive.
class Response final : public std::enable_shared_from_this<Response> {
 public:
  using OnEnd = Provider::AsyncProtocolHandler::OnEnd;
  using ErrorPtr = std::shared_ptr<const Data::ErrorValue>;

  // The transaction's address is the request's identifier in log lines. The transaction is held, so that no
  // other live request has that address.
  Response(std::shared_ptr<Asio::IoStream> stream, std::shared_ptr<const void> transaction,
           std::string requestMethod, std::shared_ptr<Log::Logger> logger,
           ProtocolHandlerSpec::ErrToHeaders errToHeaders, std::shared_ptr<const RequestSpec> spec,
           OnEnd onEnd);

  // Answers 400 and ends the request with an error, so that the connection is closed.
  void Refuse();
  // Answers a request that the deserializer couldn't understand.
  void SendDeserializerError(const ErrorPtr& error);

  // Makes the callback through which the provider gives the first result. The identifier is that of the
  // JSON-RPC request.
  Core::AsyncApiResultCb Begin(std::string requestIdentifier);

  // Writes the result at hand, and those that the provider gives as soon as it is asked for the next one.
  // For the write turn alone.
  void SendBodies();

 private:
  class ResponseWrapper;
  class LaterWrapper;
  class Burst;

  // The result on its way to the client. There is one at a time, as the next one is asked for when it has
  // been sent.
  struct Delivery {
    Core::AsyncApiResultCb::Next next;
    bool last = true;
    const Data::Backlog* backlog = nullptr;
    ORange body;
    FrameBodyWriter::Writer writer;
  };

  void OnResult(const std::shared_ptr<const Core::MethodResult>& result, Core::AsyncApiResultCb::Next&& next);
  // Gives false when the serializer failed; the request has then ended.
  bool Serialize(const std::shared_ptr<const Core::MethodResult>& result);
  void SendHead(const ErrorPtr& error);
  void SendBody();
  // Gives false if the rest has to wait for the client.
  bool WriteBody(bool followed, boost::system::error_code& error);
  void OnBodySent(const boost::system::error_code& error);
  void NoMoreWanted();
  void SendLastChunk();
  void EndWith(const boost::system::error_code& error);
  std::shared_ptr<HeaderRange> Headers(const ErrorPtr& error) const;

  template <typename... Parts>
  void Log(Log::SeverityLevel severity, const Parts&... parts) const {
    Log::Write(logger_, severity, parts...);
  }

  std::shared_ptr<Asio::IoStream> stream_;
  WriteTurn& writeTurn_;
  std::shared_ptr<const void> transaction_;
  RequestId id_;
  std::string requestMethod_;
  std::shared_ptr<Log::Logger> logger_;
  ProtocolHandlerSpec::ErrToHeaders errToHeaders_;
  std::shared_ptr<const RequestSpec> spec_;
  OnEnd onEnd_;
  std::string requestIdentifier_;
  Delivery delivery_;
  // The callback for every result behind the first one, as they come one at a time. A pointer to it keeps
  // this response.
  std::optional<Core::AsyncApiResultCb> laterResults_;
  // Null until the head is sent.
  std::unique_ptr<HttpDetail::OutChunkedBodyStrm<Asio::IoStream>> output_;
};

}  // namespace Mirel::Transport::Http

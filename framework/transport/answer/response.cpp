#include "framework/transport/answer/response.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/core/dataValue.h"
#include "framework/core/text.h"
#include "framework/provider/errorFactory.h"
#include "framework/transport/answer/responseHead.h"

namespace Mirel::Transport::Http {
namespace {

constexpr const char* kSendFailed = "mirel.send.failed";

// Sends texts with one write. The handler takes an error code. Requires: it keeps the texts alive.
template <typename Handler>
void Send(Asio::IoStream& stream, const std::vector<boost::asio::const_buffer>& texts, Handler handler) {
  boost::asio::async_write(stream, texts,
                           [handler = std::move(handler)](const boost::system::error_code& error,
                                                          std::size_t) mutable { handler(error); });
}

// A client without streams gets one value. A last result without a value becomes an error, as there is none.
std::shared_ptr<const Core::MethodResult> AsSingleAnswer(
    const std::shared_ptr<const Core::MethodResult>& result) {
  if (!result->terminal || result->error) return result;
  return Core::MethodResult::GetErrorInstance(
      Data::ErrorValue::Create("com.tessaly.mirel.std.errors.internal_server_error", {}));
}

}  // namespace

// One result on its way to the client.
struct Response::Delivery {
  explicit Delivery(Core::AsyncApiResultCb::Next&& nextResult) : next(std::move(nextResult)) {}

  void NoMoreWanted() {
    if (next) next(nullptr);
  }

  Core::AsyncApiResultCb::Next next;
  bool last = true;
  ORange body;
  FrameBodyWriter::Writer writer;
};

// What the provider's callback calls.
class Response::ResponseWrapper {
 public:
  explicit ResponseWrapper(std::shared_ptr<Response> response) : response_(std::move(response)) {}

  void operator()(const std::shared_ptr<const Core::MethodResult>& result, const Progress&,
                  Core::AsyncApiResultCb::Next&& next) const {
    if (result) response_->OnResult(result, std::move(next));
  }

 private:
  std::shared_ptr<Response> response_;
};

Response::Response(std::shared_ptr<Asio::IoStream> stream, std::shared_ptr<const void> transaction,
                   std::string requestMethod, std::shared_ptr<Log::Logger> logger,
                   ProtocolHandlerSpec::ErrToHeaders errToHeaders, std::shared_ptr<const RequestSpec> spec,
                   OnEnd onEnd)
    : stream_(std::move(stream)),
      transaction_(std::move(transaction)),
      id_{transaction_.get()},
      requestMethod_(std::move(requestMethod)),
      logger_(std::move(logger)),
      errToHeaders_(std::move(errToHeaders)),
      spec_(std::move(spec)),
      onEnd_(std::move(onEnd)) {}

void Response::Refuse() {
  auto head = std::make_shared<std::string>(WriteHead(*BadRequestHeaders(), 0, requestMethod_));
  Send(*stream_, {boost::asio::buffer(*head)},
       [self = shared_from_this(), head](const boost::system::error_code& error) {
         if (error) {
           self->Log(kFailure, "Failed to send InvalidRequest response:", self->id_, StringOfError(error));
         }
         self->Log(kFailure, "Sent InvalidRequest response:", self->id_);
         self->onEnd_(Data::ErrorValue::Create("InvalidRequest", {}));
       });
}

void Response::SendDeserializerError(const ErrorPtr& error) {
  struct Answer {
    std::string head;
    ORange body;
  };
  auto answer = std::make_shared<Answer>();
  ErrorPtr serializerError;
  spec_->serializer->SerializeError(error, answer->body, serializerError);
  if (serializerError) {
    onEnd_(serializerError);
    return;
  }
  answer->head = WriteHead(*Headers(error), answer->body.Size(), requestMethod_);
  std::vector<boost::asio::const_buffer> texts{boost::asio::buffer(answer->head)};
  for (const auto segment : answer->body.Segments()) texts.emplace_back(segment.data(), segment.size());
  Send(*stream_, texts, [self = shared_from_this(), answer](const boost::system::error_code& ec) {
    if (ec) {
      self->Log(kFailure, "Failed to sent Deserializer error ", self->id_, " Error: ", StringOfError(ec));
    } else {
      self->Log(kFailure, "Response head sent (Deserializer error): ", self->id_);
    }
    self->EndWith(ec);
  });
}

Core::AsyncApiResultCb Response::Begin(std::string requestIdentifier) {
  requestIdentifier_ = std::move(requestIdentifier);
  return Core::AsyncApiResultCb(ResponseWrapper(shared_from_this()));
}

void Response::OnResult(const std::shared_ptr<const Core::MethodResult>& result,
                        Core::AsyncApiResultCb::Next&& next) {
  const auto delivery = std::make_shared<Delivery>(std::move(next));
  const auto answer = spec_->acceptsStream ? result : AsSingleAnswer(result);
  if (!Serialize(answer, *delivery)) return;
  if (output_) {
    SendBody(delivery);
  } else {
    SendHead(answer->error, delivery);
  }
}

bool Response::Serialize(const std::shared_ptr<const Core::MethodResult>& result, Delivery& delivery) {
  const bool streams = spec_->acceptsStream;
  delivery.last = !(delivery.next && streams && !result->terminal);
  ErrorPtr error;
  spec_->serializer->SerializeInvoke(requestIdentifier_, result, delivery.body, error, streams);
  if (error) onEnd_(error);
  return !error;
}

void Response::SendHead(const ErrorPtr& error, const std::shared_ptr<Delivery>& delivery) {
  auto head = std::make_shared<std::string>(WriteHead(*Headers(error), std::nullopt, requestMethod_));
  Send(*stream_, {boost::asio::buffer(*head)},
       [self = shared_from_this(), head, delivery](const boost::system::error_code& ec) {
         if (ec) {
           delivery->NoMoreWanted();
           self->Log(kFailure, "Failed to sent response head", self->id_, StringOfError(ec));
           self->EndWith(ec);
           return;
         }
         self->Log(kNormal, "Response head sent: ", self->id_);
         self->output_ = std::make_unique<HttpDetail::OutChunkedBodyStrm<Asio::IoStream>>(self->stream_);
         self->SendBody(delivery);
       });
}

void Response::SendBody(const std::shared_ptr<Delivery>& delivery) {
  const auto segments = delivery->body.Segments();
  const auto& buffers = spec_->acceptsStream ? delivery->writer.Frame(segments, delivery->body.Size())
                                             : delivery->writer.Plain(segments);
  output_->AsyncWrite(buffers, [self = shared_from_this(), delivery](const boost::system::error_code& error) {
    self->OnBodySent(*delivery, error);
  });
}

void Response::OnBodySent(Delivery& delivery, const boost::system::error_code& error) {
  if (error) {
    delivery.NoMoreWanted();
    Log(kFailure, "Failed to sent response body ", id_);
    EndWith(error);
    return;
  }
  Log(kNormal, "ResponseSentCb", id_);
  if (delivery.last) {
    delivery.NoMoreWanted();
    SendLastChunk();
  } else {
    delivery.next(std::make_shared<Core::AsyncApiResultCb>(ResponseWrapper(shared_from_this())));
  }
}

void Response::SendLastChunk() {
  output_->AsyncWriteLastChunk(
      [self = shared_from_this()](const boost::system::error_code& error) { self->EndWith(error); });
}

void Response::EndWith(const boost::system::error_code& error) {
  onEnd_(MakeSystemErrorValue(error, kSendFailed));
}

std::shared_ptr<HeaderRange> Response::Headers(const ErrorPtr& error) const {
  return errToHeaders_(error, {spec_->acceptCode, spec_->keepAlive});
}

}  // namespace Mirel::Transport::Http

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
#include "framework/transport/answer/smallChunk.h"

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

// What this thread does while it writes the results of one response in a row: a result that the provider
// gives as soon as it is asked for it goes out in the same row.
class Response::Burst {
 public:
  // More would keep other connections waiting for long.
  static constexpr int kMostResults = 32;

  explicit Burst(const Response& response) : response_(response), outer_(std::exchange(current_, this)) {}
  Burst(const Burst&) = delete;
  Burst& operator=(const Burst&) = delete;
  ~Burst() { current_ = outer_; }

  // False if this thread isn't in such a row of the response.
  static bool Goes(const Response& response) {
    if (current_ == nullptr || &current_->response_ != &response) return false;
    current_->goesOn_ = true;
    return true;
  }
  bool GoesOn() { return std::exchange(goesOn_, false); }

 private:
  static thread_local Burst* current_;

  const Response& response_;
  Burst* outer_;
  bool goesOn_ = false;
};

thread_local Response::Burst* Response::Burst::current_ = nullptr;

// What the provider's callback for the first result calls.
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

// The same for all later results.
class Response::LaterWrapper {
 public:
  explicit LaterWrapper(std::weak_ptr<Response> response) : response_(std::move(response)) {}

  void operator()(const std::shared_ptr<const Core::MethodResult>& result, const Progress&,
                  Core::AsyncApiResultCb::Next&& next) const {
    const auto response = response_.lock();
    if (response && result) response->OnResult(result, std::move(next));
  }

 private:
  std::weak_ptr<Response> response_;
};

Response::Response(std::shared_ptr<Asio::IoStream> stream, std::shared_ptr<const void> transaction,
                   std::string requestMethod, std::shared_ptr<Log::Logger> logger,
                   ProtocolHandlerSpec::ErrToHeaders errToHeaders, std::shared_ptr<const RequestSpec> spec,
                   OnEnd onEnd)
    : stream_(std::move(stream)),
      writeTurn_(WriteTurn::Of(stream_->get_executor().context())),
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
  answer->body.ForEachSegment(
      [&texts](std::string_view segment) { texts.emplace_back(segment.data(), segment.size()); });
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
  laterResults_.emplace(LaterWrapper(weak_from_this()));
  return Core::AsyncApiResultCb(ResponseWrapper(shared_from_this()));
}

void Response::OnResult(const std::shared_ptr<const Core::MethodResult>& result,
                        Core::AsyncApiResultCb::Next&& next) {
  const auto answer = spec_->acceptsStream ? result : AsSingleAnswer(result);
  delivery_.next = std::move(next);
  delivery_.backlog = answer->backlog;
  delivery_.body.Clear();
  if (!Serialize(answer)) return;
  if (output_) {
    SendBody();
  } else {
    SendHead(answer->error);
  }
}

bool Response::Serialize(const std::shared_ptr<const Core::MethodResult>& result) {
  const bool streams = spec_->acceptsStream;
  delivery_.last = !(delivery_.next && streams && !result->terminal);
  ErrorPtr error;
  spec_->serializer->SerializeInvoke(requestIdentifier_, result, delivery_.body, error, streams);
  if (error) {
    delivery_.next = nullptr;
    onEnd_(error);
  }
  return !error;
}

void Response::SendHead(const ErrorPtr& error) {
  auto head = std::make_shared<std::string>(WriteHead(*Headers(error), std::nullopt, requestMethod_));
  Send(*stream_, {boost::asio::buffer(*head)},
       [self = shared_from_this(), head](const boost::system::error_code& ec) {
         if (ec) {
           self->NoMoreWanted();
           self->Log(kFailure, "Failed to sent response head", self->id_, StringOfError(ec));
           self->EndWith(ec);
           return;
         }
         self->Log(kNormal, "Response head sent: ", self->id_);
         self->output_ = std::make_unique<HttpDetail::OutChunkedBodyStrm<Asio::IoStream>>(self->stream_);
         self->SendBody();
       });
}

// The provider may give the result from within its own work, and for many callers one after the other: the
// writes come when it is done with that. What it has gathered by then for one caller leaves in one burst.
void Response::SendBody() {
  if (!Burst::Goes(*this)) writeTurn_.Add(shared_from_this());
}

void Response::SendBodies() {
  Burst burst(*this);
  for (int left = Burst::kMostResults; left > 0; --left) {
    const bool followed = left > 1 && delivery_.backlog != nullptr && delivery_.backlog->HasNext();
    boost::system::error_code error;
    if (!WriteBody(followed, error)) {
      output_->AsyncWriteRest(
          [self = shared_from_this()](const boost::system::error_code& ec) { self->OnBodySent(ec); });
      return;
    }
    OnBodySent(error);
    if (!burst.GoesOn()) {
      // Nothing waits in the kernel for a result that a provider has promised and didn't give.
      if (followed) stream_->Push();
      return;
    }
  }
  writeTurn_.Add(shared_from_this());
}

bool Response::WriteBody(bool followed, boost::system::error_code& error) {
  const bool framed = spec_->acceptsStream;
  const ORange& body = delivery_.body;
  std::size_t written = 0;
  if (HttpDetail::SmallChunk::Fits(body)) {
    const HttpDetail::SmallChunk chunk(body, framed);
    written = stream_->WriteNow(chunk.Bytes(), followed, error);
    if (error || written == chunk.Bytes().size()) return true;
  }
  return output_->WriteNow(framed ? delivery_.writer.Frame(body) : delivery_.writer.Plain(body), written,
                           followed, error);
}

void Response::OnBodySent(const boost::system::error_code& error) {
  delivery_.body.Clear();
  if (error) {
    NoMoreWanted();
    Log(kFailure, "Failed to sent response body ", id_);
    EndWith(error);
    return;
  }
  Log(kNormal, "ResponseSentCb", id_);
  if (delivery_.last) {
    NoMoreWanted();
    SendLastChunk();
  } else {
    const auto next = std::exchange(delivery_.next, nullptr);
    next({shared_from_this(), &*laterResults_});
  }
}

void Response::NoMoreWanted() {
  if (const auto next = std::exchange(delivery_.next, nullptr)) next(nullptr);
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

#pragma once

#include <algorithm>
#include <boost/asio/completion_condition.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "framework/core/apiSerializer.h"
#include "framework/core/asyncActivation.h"
#include "framework/core/asyncApiProvider.h"
#include "framework/core/executionContext.h"
#include "framework/core/l10n.h"
#include "framework/core/text.h"
#include "framework/json/jsonApiRequestDeserializer.h"
#include "framework/transport/answer/asyncProtocolHandler.h"
#include "framework/transport/answer/protocolHandlerSpec.h"
#include "framework/transport/answer/response.h"
#include "framework/transport/connection/peerWatch.h"
#include "framework/transport/connection/requestLog.h"
#include "framework/transport/request/bodyBudget.h"
#include "framework/transport/request/localCaller.h"
#include "framework/transport/request/requestSpecExtractor.h"
#include "framework/transport/request/transportErrors.h"
#include "framework/transport/request/turns.h"
#include "framework/transport/request/updateExecutionCtxHelper.h"

namespace Mirel::Transport::Http {

// The bridge from one HTTP request to the provider chain: reads the body, has it deserialized, and calls the
// provider, whose results go to the Response. Its pending steps keep it alive.
template <typename Transaction, typename Extractor>
class AsyncTransactionProtocolHandler final
    : public Provider::AsyncProtocolHandler,
      public std::enable_shared_from_this<AsyncTransactionProtocolHandler<Transaction, Extractor>> {
 public:
  // Requires: the range has the request's headers, in lower case.
  AsyncTransactionProtocolHandler(std::shared_ptr<Transaction> transaction,
                                  std::shared_ptr<HeaderRange> headers, const ProtocolHandlerSpec& spec)
      : transaction_(std::move(transaction)),
        body_(std::make_shared<boost::asio::streambuf>()),
        headers_(std::move(headers)),
        provider_(spec.provider),
        localizer_(spec.localizer),
        extractors_(spec.extractors),
        limit_(spec.httpBodySizeLimitInBytes),
        logger_(spec.logger),
        errToHeaders_(spec.errToHeaders),
        bodyBudget_(spec.bodyBudget),
        turns_(spec.turns) {}

  std::error_code Handle(const OnRequestRead& onRequestRead, const OnEnd& onEnd) override {
    boost::asio::post(
        transaction_->BodyStream().get_executor(),
        [self = this->shared_from_this(), onRequestRead, onEnd] { self->Start(onRequestRead, onEnd); });
    return {};
  }

 private:
  class AsyncRequestVisitor;
  class Understanding;

  // What belongs to the request once its head is understood.
  struct Call {
    OnRequestRead onRequestRead;
    OnEnd onEnd;
    std::shared_ptr<RequestSpec> spec;
    std::shared_ptr<Response> response;
  };

  RequestId Id() const { return {transaction_.get()}; }

  void Start(const OnRequestRead& onRequestRead, const OnEnd& onEnd) {
    Log::Write(logger_, kNormal, "Request head: ", Id());
    headers_->Reset();
    const std::shared_ptr<RequestSpec> spec = Extractor::Extract(*headers_);
    auto response = std::make_shared<Response>(transaction_->Connection(), transaction_,
                                               transaction_->Method(), logger_, errToHeaders_, spec, onEnd);
    if (!spec->deserializer || !spec->serializer || !IsLocalCaller(*headers_)) {
      Log::Write(logger_, kFailure, "Request is considered as bad");
      response->Refuse();
    } else if (spec->framed) {
      Log::Write(logger_, kFailure, "Request is framed. Not supported");
      response->Refuse();
    } else {
      ReadBody({onRequestRead, onEnd, spec, response});
    }
  }

  // Reads the body at once, or, when it is large, after its memory has been claimed.
  void ReadBody(Call call) {
    // One byte above the limit distinguishes a body that is too long from one that just fits.
    const std::uint64_t target = limit_ == std::numeric_limits<std::uint64_t>::max() ? limit_ : limit_ + 1;
    const auto length = transaction_->BodyLength();
    if (length && *length > BodyBudget::kUnasked) {
      ClaimAndRead(std::min(*length, target), target, std::move(call));
    } else {
      ReadUpTo(std::min(target, BodyBudget::kUnasked), target, std::move(call));
    }
  }

  void ReadUpTo(std::uint64_t size, std::uint64_t target, Call call) {
    boost::asio::async_read(
        transaction_->BodyStream(), *body_, boost::asio::transfer_exactly(size - body_->size()),
        [self = this->shared_from_this(), size, target, call = std::move(call)](
            boost::system::error_code error, std::size_t) mutable {
          const bool full = self->body_->size() == size;
          if (!error && full && size < target) {
            self->ClaimAndRead(target, target, std::move(call));
            return;
          }
          if (full && size == target) {
            error = Error::Code::MessageTooLong;
          } else if (error == Error::Code::EndOfBody || error == boost::asio::error::eof) {
            error = {};
          }
          self->OnBodyRead(error, std::move(call));
        });
  }

  void ClaimAndRead(std::uint64_t bytes, std::uint64_t target, Call call) {
    const auto budget = bodyBudget_.lock();
    if (!budget) {
      ReadUpTo(target, target, std::move(call));
      return;
    }
    const auto giveUp = [weak = std::weak_ptr(transaction_->Connection())] {
      if (const auto connection = weak.lock()) connection->Close();
    };
    budget->AsyncClaim({bytes, HasCredentials(*headers_), giveUp},
                       [self = this->shared_from_this(), target,
                        call = std::move(call)](const BodyBudget::SharePtr& share) mutable {
                         self->share_ = share;
                         self->ReadUpTo(target, target, std::move(call));
                       });
  }

  void OnBodyRead(const boost::system::error_code& error, Call call) {
    if (error) {
      Log::Write(logger_, kFailure, "RequestReadCb: ", Id(), " Error: ", StringOfError(error));
      ReleaseRequest();
      call.response->Refuse();
      return;
    }
    Log::Write(logger_, kNormal, "RequestReadCb", Id());
    call.onRequestRead();
    if (body_->size() == 0) {
      call.onEnd(nullptr);
      return;
    }
    const auto turns = turns_.lock();
    const auto understanding = std::make_shared<Understanding>(this->shared_from_this(), std::move(call));
    if (share_ && turns) {
      share_->Complete();
      turns->Enqueue([understanding] { return understanding->Next(); });
    } else {
      while (understanding->Next()) {
      }
    }
  }

  // An answer can stay open for days; it needs neither the request's text nor its headers any more.
  void ReleaseRequest() {
    body_.reset();
    headers_.reset();
    share_.reset();
  }

  std::error_code Visit(const std::string& requestIdentifier,
                        const std::shared_ptr<const Core::MethodIdentifier>& method,
                        const std::shared_ptr<const Data::DataValue>& input,
                        const std::shared_ptr<Core::ExecutionContext>& context, Response& response) {
    headers_->Reset();
    if (!Provider::JsonRpc1_1::UpdateExecutionCtxHelper::Update(headers_, *method, context, extractors_)) {
      return Provider::ProtocolError::OperationMismatch;
    }
    const auto activation = Core::AsyncActivation::GetInstance(context);
    RequestIdHelper::Set(activation->values(), requestIdentifier);
    std::error_code localeError;
    activation->localeSpec(L10n::LocaleSpecHelpers::ExtractLocaleSpec(*context, localeError));
    activation->localizer(localizer_);
    const auto connection = transaction_->Connection();
    connection->TableSlot().Enter(Asio::Stage::AnswersStranger);
    Asio::CloseWhenPeerHasGone(connection);
    provider_->Invoke(method, input, activation, response.Begin(requestIdentifier));
    if (activation->authData()) connection->TableSlot().Enter(Asio::Stage::Serves);
    return {};
  }

  std::shared_ptr<Transaction> transaction_;
  std::shared_ptr<boost::asio::streambuf> body_;
  std::shared_ptr<HeaderRange> headers_;
  std::shared_ptr<Core::AsyncApiProvider> provider_;
  std::shared_ptr<const L10n::Localizer> localizer_;
  std::vector<Http::HeaderExtractor> extractors_;
  std::uint64_t limit_;
  std::shared_ptr<Log::Logger> logger_;
  ProtocolHandlerSpec::ErrToHeaders errToHeaders_;
  // Weak, since they hold jobs of this handler.
  std::weak_ptr<BodyBudget> bodyBudget_;
  std::weak_ptr<Turns> turns_;
  // Null unless the body is large.
  BodyBudget::SharePtr share_;
};

// What the deserializer calls once it knows the request.
template <typename Transaction, typename Extractor>
class AsyncTransactionProtocolHandler<Transaction, Extractor>::AsyncRequestVisitor final
    : public Core::ApiRequestVisitor {
 public:
  AsyncRequestVisitor(std::shared_ptr<AsyncTransactionProtocolHandler> handler,
                      std::shared_ptr<Response> response)
      : handler_(std::move(handler)), response_(std::move(response)) {}

  std::error_code Visit(const std::string& requestId,
                        const std::shared_ptr<const Core::MethodIdentifier>& method,
                        const std::shared_ptr<const Data::DataValue>& input,
                        const std::shared_ptr<Core::ExecutionContext>& context) override {
    return handler_->Visit(requestId, method, input, context, *response_);
  }

 private:
  std::shared_ptr<AsyncTransactionProtocolHandler> handler_;
  std::shared_ptr<Response> response_;
};

// A request's way from its text to its visit, step by step.
template <typename Transaction, typename Extractor>
class AsyncTransactionProtocolHandler<Transaction, Extractor>::Understanding {
 public:
  Understanding(std::shared_ptr<AsyncTransactionProtocolHandler> handler, Call call)
      : handler_(std::move(handler)),
        call_(std::move(call)),
        visitor_(handler_, call_.response),
        steps_(call_.spec->deserializer->Begin(*handler_->body_, visitor_)) {}

  // Gives true when another step follows.
  bool Next() {
    if (steps_.Next()) return true;
    handler_->ReleaseRequest();
    if (steps_.Error()) call_.response->SendDeserializerError(steps_.Error());
    return false;
  }

 private:
  std::shared_ptr<AsyncTransactionProtocolHandler> handler_;
  Call call_;
  AsyncRequestVisitor visitor_;
  Protocol::Json::JsonApiRequestDeserializer::Steps steps_;
};

}  // namespace Mirel::Transport::Http

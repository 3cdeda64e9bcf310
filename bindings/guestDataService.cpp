#include "bindings/guestDataService.h"

#include <string>
#include <utility>
#include <vector>

#include "bindings/subscriptionSpecReader.h"
#include "framework/core/asyncActivation.h"
#include "framework/core/asyncApiProvider.h"
#include "framework/provider/asyncApiInterface.h"
#include "framework/provider/simpleInterface.h"

namespace Com::Tessaly::Norn::Hesper::GuestDataSvc {
namespace {

using ::Mirel::Core::AsyncApiResultCb;
using ::Mirel::Core::MethodResult;
using ::Mirel::Data::DynamicStructure;

std::shared_ptr<const MethodResult> Untyped(const boost::optional<DynamicStructure>& value,
                                            const ResultCb::ErrorPtr& error) {
  return error ? MethodResult::GetErrorInstance(error)
               : MethodResult::GetInstance(value->value, value->backlog);
}

// Makes the answer object that the service fires of the transport's callback; the continuation does the same
// for each later element. The elements pass as they are: the service has made values of them.
ResultCb MakeResultCb(std::shared_ptr<const AsyncApiResultCb> untyped) {
  ResultCb::ResultCb callbacks;
  callbacks.first = [untyped = std::move(untyped)](
                        const boost::optional<DynamicStructure>& value, const ResultCb::ErrorPtr& error,
                        const ::Mirel::Progress& progress, ResultCb::Continuation&& continuation) {
    AsyncApiResultCb::Next next;
    if (continuation) {
      next = [continuation = std::move(continuation)](std::shared_ptr<AsyncApiResultCb> nextUntyped) {
        continuation(nextUntyped
                         ? ResultCbPtr(std::make_shared<ResultCb>(MakeResultCb(std::move(nextUntyped))))
                         : ResultCbPtr());
      };
    }
    (*untyped)(Untyped(value, error), progress, std::move(next));
  };
  return ResultCb(std::move(callbacks));
}

class SubscribeOperation final : public ::Mirel::Provider::AsyncApiOperation {
 public:
  SubscribeOperation(std::shared_ptr<AsyncServiceInterface> implementation,
                     std::shared_ptr<const ::Mirel::L10n::Localizer> localizer)
      : implementation_(std::move(implementation)), localizer_(std::move(localizer)) {}

  void Call(const ::Mirel::Data::DataValuePtr& input, const AsyncActivationPtr& activation,
            const AsyncApiResultCb& result) const override {
    activation->localizer(localizer_);
    auto untyped = std::make_shared<const AsyncApiResultCb>(result);
    const std::weak_ptr kept(untyped);
    Start(input, activation, MakeResultCb(std::move(untyped)));
    // A service that neither answers nor drops the answer object has accepted the call.
    if (!kept.expired()) activation->NotifyOnAccept();
  }

 private:
  void Start(const ::Mirel::Data::DataValuePtr& input, const AsyncActivationPtr& activation,
             const ResultCb& answer) const {
    std::shared_ptr<const SubscriptionSpec> spec;
    try {
      spec = std::make_shared<const SubscriptionSpec>(ReadSubscribeArguments(input));
    } catch (const ::Mirel::Provider::ArgumentError& fault) {
      answer.error(::Mirel::Provider::MakeUnexpectedInputError(fault.what()));
      return;
    }
    implementation_->Subscribe(spec, activation, answer);
  }

  std::shared_ptr<AsyncServiceInterface> implementation_;
  std::shared_ptr<const ::Mirel::L10n::Localizer> localizer_;
};

class ServiceInterface final : public ::Mirel::Provider::AsyncApiInterface {
 public:
  explicit ServiceInterface(std::shared_ptr<const SubscribeOperation> subscribe)
      : subscribe_(std::move(subscribe)) {}

  const std::string& ServiceName() const override { return service_; }

  std::vector<::Mirel::Provider::OperationInfo> Operations() const override {
    return {{subscribeName_, true}};
  }

  bool LookupOperation(const std::string& name,
                       std::shared_ptr<const ::Mirel::Provider::AsyncApiOperation>& operation,
                       ::Mirel::MessageList& messages) const override {
    if (name != subscribeName_) {
      messages.push_back(::Mirel::Provider::OperationNotFoundMessage(service_, name));
      return false;
    }
    operation = subscribe_;
    return true;
  }

 private:
  const std::string service_ = "com.tessaly.norn.hesper.guest_data";
  const std::string subscribeName_ = "subscribe";
  std::shared_ptr<const SubscribeOperation> subscribe_;
};

}  // namespace

std::shared_ptr<const ::Mirel::Provider::AsyncApiInterface> AsyncServiceBinder::BindImplementation(
    std::shared_ptr<AsyncServiceInterface> implementation,
    std::shared_ptr<const ::Mirel::L10n::Localizer> localizer) {
  return std::make_shared<const ServiceInterface>(
      std::make_shared<const SubscribeOperation>(std::move(implementation), std::move(localizer)));
}

}  // namespace Com::Tessaly::Norn::Hesper::GuestDataSvc

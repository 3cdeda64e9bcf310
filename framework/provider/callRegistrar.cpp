#include "framework/provider/callRegistrar.h"

#include "framework/core/asyncActivation.h"

namespace Mirel::Observer::Detail {
namespace {

constexpr std::uint32_t kStartCode = 0;
constexpr const char* kSubjectField = "username";

// Lives as long as the call's first result can still come.
class ObservedCall {
 public:
  ObservedCall(std::shared_ptr<Api::CallObserver> observer, std::shared_ptr<Core::AsyncActivation> activation,
               Core::AsyncApiResultCb result)
      : observer_(std::move(observer)), activation_(std::move(activation)), result_(std::move(result)) {}
  ObservedCall(const ObservedCall&) = delete;
  ObservedCall& operator=(const ObservedCall&) = delete;
  ~ObservedCall() { End(kCallAbandoned); }

  // Takes over what the links after this one have found out about the caller. The activation is let go: it
  // holds the caller's secrets, and the first result of a stream can be days away.
  void TakeSubject() {
    const auto activation = std::exchange(activation_, nullptr);
    if (!activation) return;
    const auto data = std::dynamic_pointer_cast<const Data::CompoundValue>(activation->authData());
    const auto name =
        std::dynamic_pointer_cast<const Data::StringValue>(data ? data->GetField(kSubjectField) : nullptr);
    if (name) {
      std::string subject = name->value();
      observer_->SetSubject(subject);
    }
    observer_->Prepare();
  }

  // For a stream, which may wait for its first element for days.
  void OnAccept() { End(kCallSucceeded); }

  void OnFirstResult(const std::shared_ptr<const Core::MethodResult>& result, const Progress& progress,
                     Core::AsyncApiResultCb::Next&& next) {
    End(result && !result->error ? kCallSucceeded : kCallFailed);
    result_(result, progress, std::move(next));
  }

 private:
  void End(std::uint32_t code) {
    TakeSubject();
    if (const auto observer = std::exchange(observer_, nullptr)) observer->SetResultCode(code);
  }

  std::shared_ptr<Api::CallObserver> observer_;
  std::shared_ptr<Core::AsyncActivation> activation_;
  Core::AsyncApiResultCb result_;
};

}  // namespace

std::string CallRegistrarBase::ToString() const {
  return "CallRegistrarBase";
}

void CallRegistrarBase::Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method,
                               const Data::DataValuePtr& input,
                               const std::shared_ptr<Core::AsyncActivation>& activation,
                               const Core::AsyncApiResultCb& result) {
  const auto observer = MakeObserver();
  std::string service = method->service;
  std::string operation = method->operation;
  observer->SetStartCode(kStartCode);
  observer->SetOperation(operation);
  observer->SetService(service);
  auto call = std::make_shared<ObservedCall>(observer, activation, result);
  activation->AddInvokeObserver([reached = std::weak_ptr(call)] {
    if (const auto pending = reached.lock()) pending->TakeSubject();
  });
  activation->AddAcceptObserver([accepted = std::weak_ptr(call)] {
    if (const auto pending = accepted.lock()) pending->OnAccept();
  });
  auto onFirstResult = [call = std::move(call)](const std::shared_ptr<const Core::MethodResult>& first,
                                                const Progress& progress,
                                                Core::AsyncApiResultCb::Next&& next) {
    call->OnFirstResult(first, progress, std::move(next));
  };
  next_->Invoke(method, input, activation, Core::AsyncApiResultCb(std::move(onFirstResult)));
}

}  // namespace Mirel::Observer::Detail

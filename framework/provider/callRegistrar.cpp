#include "framework/provider/callRegistrar.h"

#include "framework/core/asyncActivation.h"

namespace Mirel::Observer::Detail {
namespace {

constexpr std::uint32_t kStartCode = 0;
constexpr const char* kSubjectField = "username";

/// Lives as long as the call's first result can still come.
class ObservedCall {
 public:
  ObservedCall(std::shared_ptr<Api::CallObserver> observer, std::shared_ptr<Core::AsyncActivation> activation,
               Core::AsyncApiResultCb result)
      : observer_(std::move(observer)), activation_(std::move(activation)), result_(std::move(result)) {}
  ObservedCall(const ObservedCall&) = delete;
  ObservedCall& operator=(const ObservedCall&) = delete;
  ~ObservedCall() { End(kCallAbandoned); }

  void OnFirstResult(const std::shared_ptr<const Core::MethodResult>& result, const Progress& progress,
                     Core::AsyncApiResultCb::Next&& next) {
    End(result && !result->error ? kCallSucceeded : kCallFailed);
    result_(result, progress, std::move(next));
  }

 private:
  void End(std::uint32_t code) {
    const auto observer = std::exchange(observer_, nullptr);
    if (!observer) return;
    TellSubject(*observer);
    observer->Prepare();
    observer->SetResultCode(code);
  }

  /// The links behind this one find out who calls, so that it is known only now.
  void TellSubject(Api::CallObserver& observer) const {
    const auto data = std::dynamic_pointer_cast<const Data::CompoundValue>(activation_->authData());
    if (!data) return;
    const auto name = std::dynamic_pointer_cast<const Data::StringValue>(data->GetField(kSubjectField));
    if (!name) return;
    std::string subject = name->value();
    observer.SetSubject(subject);
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
  const auto call = std::make_shared<ObservedCall>(observer, activation, result);
  next_->Invoke(method, input, activation,
                Core::AsyncApiResultCb([call](const auto& first, const auto& progress, auto&& next) {
                  call->OnFirstResult(first, progress, std::move(next));
                }));
}

}  // namespace Mirel::Observer::Detail

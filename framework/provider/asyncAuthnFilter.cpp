#include "framework/provider/asyncAuthnFilter.h"

#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/provider/authnHandler.h"

namespace Mirel::Authn::Filter {

// One call while its handler works on it.
class AsyncAuthnFilter::ProviderInvoker {
 public:
  ProviderInvoker(std::shared_ptr<Core::AsyncApiProvider> next,
                  std::shared_ptr<const Core::MethodIdentifier> method, Data::DataValuePtr input,
                  std::shared_ptr<Core::AsyncActivation> activation, Core::AsyncApiResultCb result)
      : next_(std::move(next)),
        method_(std::move(method)),
        input_(std::move(input)),
        activation_(std::move(activation)),
        result_(std::move(result)) {}

  void operator()(const Data::DataValuePtr& value) const {
    if (value && value->type() == Data::DataType::Error) {
      auto error = std::static_pointer_cast<const ErrorValue>(value);
      result_(Core::MethodResult::GetErrorInstance(std::move(error)), Progress{}, nullptr);
      return;
    }
    activation_->authData(value);
    next_->Invoke(method_, input_, activation_, result_);
  }

 private:
  std::shared_ptr<Core::AsyncApiProvider> next_;
  std::shared_ptr<const Core::MethodIdentifier> method_;
  Data::DataValuePtr input_;
  std::shared_ptr<Core::AsyncActivation> activation_;
  Core::AsyncApiResultCb result_;
};

AsyncAuthnFilter::AsyncAuthnFilter(std::shared_ptr<Core::AsyncApiProvider> next,
                                   std::shared_ptr<AuthnHandler> handler)
    : next_(std::move(next)), handler_(std::move(handler)) {}

std::string AsyncAuthnFilter::ToString() const {
  return "AsyncAuthnFilter";
}

void AsyncAuthnFilter::Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method,
                              const Data::DataValuePtr& input,
                              const std::shared_ptr<Core::AsyncActivation>& activation,
                              const Core::AsyncApiResultCb& result) {
  if (activation->authData()) {
    next_->Invoke(method, input, activation, result);
    return;
  }
  handler_->AsyncAuthenticate(activation, ProviderInvoker(next_, method, input, activation, result));
}

}  // namespace Mirel::Authn::Filter

#include "framework/provider/asyncLocalProvider.h"

#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/provider/introspection.h"

namespace Mirel::Provider {
namespace Detail {

void NotifyOnInvoke(const std::shared_ptr<Core::AsyncActivation>& activation) {
  activation->NotifyOnInvoke();
}

}  // namespace Detail

// One call on its way through the enqueuer. It holds the provider, so that the services outlive the wait.
template <typename Mutex>
class AsyncLocalProvider<Mutex>::InvokeOp {
 public:
  InvokeOp(std::shared_ptr<AsyncLocalProvider> provider, std::shared_ptr<const Core::MethodIdentifier> method,
           Data::DataValuePtr input, std::shared_ptr<Core::AsyncActivation> activation,
           Core::AsyncApiResultCb result)
      : provider_(std::move(provider)),
        method_(std::move(method)),
        input_(std::move(input)),
        activation_(std::move(activation)),
        result_(std::move(result)) {}

  void operator()() const {
    MessageList messages;
    std::shared_ptr<const AsyncApiInterface> interface;
    std::shared_ptr<const AsyncApiOperation> operation;
    if (!provider_->interfaces_->Lookup(*method_, interface, messages) ||
        !interface->LookupOperation(method_->operation, operation, messages)) {
      AnswerNotFound(messages);
      return;
    }
    Detail::NotifyOnInvoke(activation_);
    operation->Call(input_, activation_, result_);
  }

 private:
  void AnswerNotFound(const MessageList& messages) const {
    auto error = ErrorValue::Create("com.tessaly.mirel.std.errors.operation_not_found", messages);
    result_(Core::MethodResult::GetErrorInstance(std::move(error)), Progress{}, nullptr);
  }

  std::shared_ptr<AsyncLocalProvider> provider_;
  std::shared_ptr<const Core::MethodIdentifier> method_;
  Data::DataValuePtr input_;
  std::shared_ptr<Core::AsyncActivation> activation_;
  Core::AsyncApiResultCb result_;
};

template <typename Mutex>
AsyncLocalProvider<Mutex>::AsyncLocalProvider(Enqueuer enqueuer, std::shared_ptr<Container> interfaces)
    : enqueuer_(std::move(enqueuer)), interfaces_(std::move(interfaces)) {}

template <typename Mutex>
std::string AsyncLocalProvider<Mutex>::ToString() const {
  return "AsyncLocalProvider";
}

template <typename Mutex>
void AsyncLocalProvider<Mutex>::Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method,
                                       const Data::DataValuePtr& input,
                                       const std::shared_ptr<Core::AsyncActivation>& activation,
                                       const Core::AsyncApiResultCb& result) {
  const std::shared_ptr<AsyncLocalProvider> self(this->weak_from_this());
  enqueuer_(InvokeOp(self, method, input, activation, result));
}

template <typename Mutex>
void AsyncLocalProvider<Mutex>::AddIntrospectionServices() {
  using namespace Introspection;
  const auto add = [this](const std::shared_ptr<const AsyncApiInterface>& service) {
    MessageList ignored;
    interfaces_->Add(service, ignored);
  };
  add(Bindings::OperationSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<Impl::OperationSvc::AsyncServiceImpl>(interfaces_)));
  add(Bindings::ProviderSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<Impl::ProviderSvc::AsyncServiceImpl>(ToString(), interfaces_)));
  add(Bindings::ServiceSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<Impl::ServiceSvc::AsyncServiceImpl>(interfaces_)));
}

template class AsyncLocalProvider<std::mutex>;

}  // namespace Mirel::Provider

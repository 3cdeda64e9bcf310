#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "framework/core/asyncApiProvider.h"
#include "framework/provider/asyncApiInterfaceConcurrentContainer.h"

// The services by which a client learns what a provider offers. Their reference to the provider's container
// is weak, since they are in it themselves.
namespace Mirel::Provider::Introspection {

using Container = AsyncApiInterfaceConcurrentContainer<std::mutex>;
using ResultPtr = std::shared_ptr<const Core::MethodResult>;

namespace Impl::OperationSvc {

// "com.tessaly.mirel.std.introspection.operation"
class AsyncServiceImpl {
 public:
  explicit AsyncServiceImpl(std::weak_ptr<const Container> interfaces);
  // The operations of the service "service_id", by name.
  ResultPtr List(const Data::DataValuePtr& input) const;
  // The operation "operation_id" of the service "service_id".
  ResultPtr Get(const Data::DataValuePtr& input) const;

 private:
  std::weak_ptr<const Container> interfaces_;
};

}  // namespace Impl::OperationSvc

namespace Impl::ProviderSvc {

// "com.tessaly.mirel.std.introspection.provider"
class AsyncServiceImpl {
 public:
  AsyncServiceImpl(std::string providerId, std::weak_ptr<const Container> interfaces);
  // The provider's identifier, and how many services it has.
  ResultPtr Get() const;

 private:
  std::string providerId_;
  std::weak_ptr<const Container> interfaces_;
};

}  // namespace Impl::ProviderSvc

namespace Impl::ServiceSvc {

// "com.tessaly.mirel.std.introspection.service"
class AsyncServiceImpl {
 public:
  explicit AsyncServiceImpl(std::weak_ptr<const Container> interfaces);
  ResultPtr List() const;
  // The service "id" with its operations.
  ResultPtr Get(const Data::DataValuePtr& input) const;

 private:
  std::weak_ptr<const Container> interfaces_;
};

}  // namespace Impl::ServiceSvc

namespace Bindings::OperationSvc {
struct AsyncServiceBinder {
  static std::shared_ptr<const AsyncApiInterface> BindImplementation(
      const std::shared_ptr<const Impl::OperationSvc::AsyncServiceImpl>& implementation);
};
}  // namespace Bindings::OperationSvc

namespace Bindings::ProviderSvc {
struct AsyncServiceBinder {
  static std::shared_ptr<const AsyncApiInterface> BindImplementation(
      const std::shared_ptr<const Impl::ProviderSvc::AsyncServiceImpl>& implementation);
};
}  // namespace Bindings::ProviderSvc

namespace Bindings::ServiceSvc {
struct AsyncServiceBinder {
  static std::shared_ptr<const AsyncApiInterface> BindImplementation(
      const std::shared_ptr<const Impl::ServiceSvc::AsyncServiceImpl>& implementation);
};
}  // namespace Bindings::ServiceSvc

}  // namespace Mirel::Provider::Introspection

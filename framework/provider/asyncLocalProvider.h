#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "framework/core/asyncApiProvider.h"
#include "framework/provider/asyncApiInterfaceConcurrentContainer.h"

namespace Mirel::Provider {

// The last link of the provider chain: calls an operation of this process. Look-up and call are jobs of the
// enqueuer, so that no operation ever runs in the caller's stack. Requires: a shared pointer holds it.
template <typename Mutex>
class AsyncLocalProvider final : public Core::AsyncApiProvider,
                                 public std::enable_shared_from_this<AsyncLocalProvider<Mutex>> {
 public:
  using Enqueuer = std::function<void(std::function<void()>)>;
  using Container = AsyncApiInterfaceConcurrentContainer<Mutex>;

  AsyncLocalProvider(Enqueuer enqueuer, std::shared_ptr<Container> interfaces);

  // Gives "AsyncLocalProvider".
  std::string ToString() const override;

  // Throws std::bad_weak_ptr without an owner, std::bad_function_call without an enqueuer.
  void Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method, const Data::DataValuePtr& input,
              const std::shared_ptr<Core::AsyncActivation>& activation,
              const Core::AsyncApiResultCb& result) override;

  // Adds the services by which clients learn what this provider offers.
  void AddIntrospectionServices();

 private:
  class InvokeOp;

  Enqueuer enqueuer_;
  std::shared_ptr<Container> interfaces_;
};

extern template class AsyncLocalProvider<std::mutex>;

namespace Detail {

// Calls the activation's observers when the call has reached the service.
void NotifyOnInvoke(const std::shared_ptr<Core::AsyncActivation>& activation);

}  // namespace Detail
}  // namespace Mirel::Provider

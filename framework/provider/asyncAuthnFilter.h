#pragma once

#include <memory>
#include <string>

#include "framework/core/asyncApiProvider.h"

namespace Mirel::Authn {
class AuthnHandler;
}

namespace Mirel::Authn::Filter {

// A link of the provider chain that asks one handler who the caller is. For several schemes, several filters
// follow each other: the first handler that knows the caller decides who it is, the first that refuses ends
// the call, and a call that no handler knows goes on as anonymous.
class AsyncAuthnFilter final : public Core::AsyncApiProvider,
                               public std::enable_shared_from_this<AsyncAuthnFilter> {
 public:
  AsyncAuthnFilter(std::shared_ptr<Core::AsyncApiProvider> next, std::shared_ptr<AuthnHandler> handler);

  // Gives "AsyncAuthnFilter".
  std::string ToString() const override;

  void Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method, const Data::DataValuePtr& input,
              const std::shared_ptr<Core::AsyncActivation>& activation,
              const Core::AsyncApiResultCb& result) override;

 private:
  class ProviderInvoker;

  std::shared_ptr<Core::AsyncApiProvider> next_;
  std::shared_ptr<AuthnHandler> handler_;
};

}  // namespace Mirel::Authn::Filter

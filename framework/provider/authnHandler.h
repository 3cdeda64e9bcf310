#pragma once

#include <functional>
#include <memory>

namespace Mirel::Core {
class AsyncActivation;
}
namespace Mirel::Data {
class DataValue;
}

namespace Mirel::Authn {

// Finds out who makes a call, by one scheme.
class AuthnHandler {
 public:
  // Gets null when the scheme isn't the call's, a value of error type when the caller is refused, and
  // otherwise the caller's authentication data.
  using Callback = std::function<void(const std::shared_ptr<const Data::DataValue>&)>;

  // Calls back exactly once, on any thread, also before it returns.
  virtual void AsyncAuthenticate(const std::shared_ptr<Core::AsyncActivation>& activation,
                                 Callback callback) = 0;
  virtual ~AuthnHandler() = default;
};

}  // namespace Mirel::Authn

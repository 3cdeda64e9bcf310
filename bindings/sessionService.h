#pragma once

#include <memory>

#include "bindings/sessionTypes.h"
#include "framework/core/dataValue.h"
#include "framework/provider/asyncResult.h"

namespace Mirel::Core {
class AsyncActivation;
}
namespace Mirel::L10n {
class Localizer;
}
namespace Mirel::Provider {
class AsyncApiInterface;
}

namespace Com::Tessaly::Ombra::SessionSvc {

using AsyncActivationPtr = std::shared_ptr<::Mirel::Core::AsyncActivation>;
using CreateResult = ::Mirel::AsyncResult<::Mirel::SecretString, ::Mirel::AsyncResultTerminateCbPolicy>;
using DeleteResult = ::Mirel::AsyncResult<::Mirel::Void, ::Mirel::AsyncResultTerminateCbPolicy>;
using GetResult = ::Mirel::AsyncResult<std::shared_ptr<const Info>, ::Mirel::AsyncResultTerminateCbPolicy>;

// The service "com.tessaly.ombra.session"; who offers it implements this. Each operation answers through
// `result`, from any thread.
class AsyncServiceInterface {
 public:
  // Gives the identifier of a new session for the caller, who is authenticated by another scheme.
  virtual void Create(const AsyncActivationPtr& activation, const CreateResult& result) = 0;
  // Ends the session that the call's security context names.
  virtual void Delete(const AsyncActivationPtr& activation, const DeleteResult& result) = 0;
  // Says whose session the security context names.
  virtual void Get(const AsyncActivationPtr& activation, const GetResult& result) = 0;
  virtual ~AsyncServiceInterface() = default;
};

struct AsyncServiceBinder {
  // Makes the implementation callable by operation name. No operation takes arguments; a call that has some
  // is refused. Messages are rendered with the service's own localizer.
  static std::shared_ptr<const ::Mirel::Provider::AsyncApiInterface> BindImplementation(
      const std::shared_ptr<AsyncServiceInterface>& implementation,
      const std::shared_ptr<const ::Mirel::L10n::Localizer>& localizer);
};

}  // namespace Com::Tessaly::Ombra::SessionSvc

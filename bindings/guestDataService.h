#pragma once

#include <memory>

#include "bindings/guestDataTypes.h"
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

namespace Com::Tessaly::Norn::Hesper::GuestDataSvc {

using AsyncActivationPtr = std::shared_ptr<::Mirel::Core::AsyncActivation>;
using ResultCb =
    ::Mirel::AsyncStreamResult<::Mirel::Data::DynamicStructure, ::Mirel::AsyncStreamResultTerminateCbPolicy>;
using ResultCbPtr = ::Mirel::OptionalPtr<ResultCb>;

// The service "com.tessaly.norn.hesper.guest_data"; who offers it implements this.
class AsyncServiceInterface {
 public:
  // Opens a stream of publications. Answers through `result`, from any thread; the elements are values
  // already.
  virtual void Subscribe(const std::shared_ptr<const SubscriptionSpec>& spec,
                         const AsyncActivationPtr& activation, const ResultCb& result) = 0;
  virtual ~AsyncServiceInterface() = default;
};

struct AsyncServiceBinder {
  // Makes the implementation callable by operation name. Arguments become the structures of guestDataTypes.h;
  // a value that doesn't fit is answered with an error that names its place. Messages are rendered with the
  // service's own localizer.
  static std::shared_ptr<const ::Mirel::Provider::AsyncApiInterface> BindImplementation(
      std::shared_ptr<AsyncServiceInterface> implementation,
      std::shared_ptr<const ::Mirel::L10n::Localizer> localizer);
};

}  // namespace Com::Tessaly::Norn::Hesper::GuestDataSvc

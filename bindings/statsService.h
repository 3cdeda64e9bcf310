#pragma once

#include <memory>

#include "bindings/statsTypes.h"

namespace Mirel::Provider {
class AsyncApiInterface;
}

namespace Com::Tessaly::Norn::Hesper::StatsSvc {

// The service "com.tessaly.norn.hesper.stats"; who offers it implements this.
class ServiceInterface {
 public:
  // The numbers of now, on the thread of the call.
  virtual Stats Get() const = 0;
  virtual ~ServiceInterface() = default;
};

// Makes the implementation callable by operation name. The operation takes no arguments; a call that has some
// is refused.
std::shared_ptr<const ::Mirel::Provider::AsyncApiInterface> BindImplementation(
    std::shared_ptr<const ServiceInterface> implementation);

}  // namespace Com::Tessaly::Norn::Hesper::StatsSvc

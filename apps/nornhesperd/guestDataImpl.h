#pragma once

#include <cstdint>
#include <string>

#include "apps/nornhesperd/result.h"
#include "bindings/guestDataService.h"

namespace Com::Tessaly::Norn::Hesper::GuestDataSvc {

// The one service of the daemon. It has no state: a good call turns into a MessageStream, which the Registry
// keeps.
class GuestDataImpl final : public AsyncServiceInterface {
 public:
  // Answers at once only on a failure; otherwise the first answer is the first publication. Runs on the I/O
  // thread, and blocks it while it asks the guests for history.
  void Subscribe(const std::shared_ptr<const SubscriptionSpec>& spec, const AsyncActivationPtr& activation,
                 const ResultCb& result) override;
};

// The checks of the arguments. Each one that fails has already answered the client through `result`, and the
// caller only has to stop.
NornHesper::Result ValidateVmIdentifierType(const VmIdentifierType& type,
                                            const AsyncActivationPtr& activation, const ResultCb& result);
NornHesper::Result VmFilterSpecGetVmId(const VmIdentifierType& type, const VmFilterSpecConstPtr& filter,
                                       const AsyncActivationPtr& activation, const ResultCb& result,
                                       std::string& vmId);
NornHesper::Result ValidateTopicPrefix(const std::string& prefix, const AsyncActivationPtr& activation,
                                       const ResultCb& result);
NornHesper::Result ValidatePastSeconds(std::int64_t seconds, const AsyncActivationPtr& activation,
                                       const ResultCb& result);

}  // namespace Com::Tessaly::Norn::Hesper::GuestDataSvc

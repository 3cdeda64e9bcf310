#include "apps/nornhesperd/loginCounting.h"

#include <utility>

#include "framework/core/dataValue.h"

namespace NornHesper {

void CountingAuthnHandler::AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                                             Callback callback) {
  handler_->AsyncAuthenticate(activation, [&refused = refused_, callback = std::move(callback)](
                                              const Mirel::Data::DataValuePtr& caller) {
    if (caller && caller->type() == Mirel::Data::DataType::Error) refused.Add();
    callback(caller);
  });
}

bool CountingEntitlementChecker::IsEntitled(const Mirel::Data::DataValue& authData,
                                            const std::set<std::string>& demanded) const {
  const bool entitled = checker_->IsEntitled(authData, demanded);
  if (!entitled) refused_.Add();
  return entitled;
}

}  // namespace NornHesper

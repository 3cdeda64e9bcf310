#pragma once

#include <memory>
#include <set>
#include <string>

#include "framework/authz/entitlementChecker.h"
#include "framework/core/log.h"

namespace NornToken::Authz {

// Finds a caller's entitlements where the token handler puts them: in the list of strings of the field
// ENTITLEMENTS_GRANTS. Names are compared byte by byte. Immutable, used by any thread.
class JwtEntitlementCheckerImpl final : public Mirel::Authz::EntitlementChecker {
 public:
  explicit JwtEntitlementCheckerImpl(std::shared_ptr<Mirel::Log::Logger> logger);

  bool IsEntitled(const Mirel::Data::DataValue& authData,
                  const std::set<std::string>& demanded) const override;

 private:
  std::shared_ptr<Mirel::Log::Logger> logger_;
};

}  // namespace NornToken::Authz

#pragma once

#include <set>
#include <string>

namespace Mirel::Data {
class DataValue;
}

namespace Mirel::Authz {

// Knows where a caller's entitlements are in its authentication data.
class EntitlementChecker {
 public:
  // Whether the caller holds one of the demanded entitlements. Data that the checker can't read holds none.
  virtual bool IsEntitled(const Data::DataValue& authData, const std::set<std::string>& demanded) const = 0;
  virtual ~EntitlementChecker() = default;
};

}  // namespace Mirel::Authz

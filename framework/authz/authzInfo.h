#pragma once

#include <map>
#include <set>
#include <string>

#include "framework/authz/privilegeChecker.h"

namespace Mirel::Authz {

// Names of operations, services or packages, each with its entitlements: a caller needs one of them.
using EntitlementTable = std::map<std::string, std::set<std::string>>;

// Names of operations, each with its requirements. One with an argument applies to each object that this
// argument of the call names.
using PrivilegeTable = std::map<std::string, MethodCollectionPrivileges>;

// Who may call what. Filled at start, then only read.
struct AuthzInfo {
  // Opens the services that describe the others, as a client needs them before it can authenticate.
  AuthzInfo();

  std::string noAuthenticationSchemeId;
  // Operations that callers without authentication may call.
  std::set<std::string> openOperations;
  // The entry of the operation comes before that of its service, and that before the one of the package.
  EntitlementTable operationEntitlements;
  EntitlementTable serviceEntitlements;
  EntitlementTable packageEntitlements;
  PrivilegeTable operationPrivileges;
};

}  // namespace Mirel::Authz

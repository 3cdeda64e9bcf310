#pragma once

#include <optional>

#include "framework/authz/privilegeChecker.h"

namespace Mirel::Authz {

// The requirements of one call: a rule with an argument becomes one requirement for each object that this
// argument of the call names. Gives nothing when an argument is missing, empty, an empty list, or neither a
// text nor a list of texts. Otherwise a call without it, which may mean all objects, would need no privilege.
std::optional<MethodCollectionPrivileges> TouchedObjects(const MethodCollectionPrivileges& rules,
                                                         const Data::DataValuePtr& input);

}  // namespace Mirel::Authz

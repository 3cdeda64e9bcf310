#pragma once

#include <optional>

#include "framework/authz/privilegeChecker.h"

namespace Mirel::Authz {

// The requirements of one call: the operation's own, with each object that the call's arguments name put in
// where the metadata names an argument. Gives nothing when an argument is missing, empty, an empty list, or
// neither a text nor a list of texts: what a call is about must be known, or an operation that takes nothing
// for everything would ask for no privilege.
std::optional<MethodCollectionPrivileges> TouchedObjects(const MethodCollectionPrivileges& rules,
                                                         const Data::DataValuePtr& input);

}  // namespace Mirel::Authz

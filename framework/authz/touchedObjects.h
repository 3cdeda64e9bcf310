#pragma once

#include <optional>

#include "framework/authz/privilegeChecker.h"

namespace Mirel::Authz {

// The requirements of one call: the operation's own, with each object that the call's arguments name put in
// where the metadata names an argument. An empty list names no object, and requires nothing. Gives nothing
// when an argument is missing, empty, or neither a text nor a list of texts: what a call is about must be
// known.
std::optional<MethodCollectionPrivileges> TouchedObjects(const MethodCollectionPrivileges& rules,
                                                         const Data::DataValuePtr& input);

}  // namespace Mirel::Authz

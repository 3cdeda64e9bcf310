#pragma once

#include <memory>

namespace Mirel::Authz {
class PrivilegeChecker;
}

namespace SessionExample {

// Gives the users what the configuration's key "grants" says, and a checker that knows what they were given.
// Throws Corvane::Exception for grants that can't be read.
std::shared_ptr<Mirel::Authz::PrivilegeChecker> MakePrivilegeChecker();

}  // namespace SessionExample

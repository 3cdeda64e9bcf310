#pragma once

#include <string>

#include "platform/corvane/object.h"

namespace Corvane::System {
class AuthTokenHelper;
}

namespace NornHesper {

// Checks the pair against the host's users; null when it is refused.
Corvane::Ref<Corvane::System::AuthTokenHelper> Authenticate(const std::string& user,
                                                            const std::string& password);

}  // namespace NornHesper

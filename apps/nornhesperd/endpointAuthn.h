#pragma once

#include <string>

#include "framework/core/dataValue.h"
#include "platform/corvane/object.h"

namespace Corvane::System {
class AuthTokenHelper;
}

namespace NornHesper {

// Checks the pair against the host's users; null when it is refused.
Corvane::Ref<Corvane::System::AuthTokenHelper> Authenticate(const std::string& user,
                                                            const std::string& password);

// The daemon's own rule for logins.
struct EndpointAuthn {
  // Who may come in with a password: root alone, who then has the entitlement to guest data, as a token would
  // give it. Others are refused, with a line in the log.
  static bool UserPassCustomizeAuthDataCb(Corvane::System::AuthTokenHelper* token,
                                          const Mirel::Data::StructValuePtr& authData);
};

}  // namespace NornHesper

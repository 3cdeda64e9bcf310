#pragma once

#include <list>
#include <memory>

namespace Mirel::Authn {
class AuthnHandler;
}
namespace SarnMirel {
struct SessionMapping;
}

namespace SessionExample {

// How users of this service prove who they are, in the order in which the ways are tried: a password of this
// host (PAM service "session-service"), a session's identifier, a holder-of-key token of a token service that
// the configuration trusts. Throws Corvane::Exception when the trust can't be read.
std::list<std::shared_ptr<Mirel::Authn::AuthnHandler>> MakeAuthnHandlers(
    const std::shared_ptr<SarnMirel::SessionMapping>& mapping);

}  // namespace SessionExample

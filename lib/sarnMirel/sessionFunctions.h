#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "framework/core/dataValue.h"
#include "platform/corvane/authorize.h"
#include "platform/corvane/object.h"

namespace Corvane {
class Session;
}
namespace Mirel::Core {
class AsyncActivation;
}

// How a call gets its session of the host. All of them need the application object, and may be called from
// any thread. Idle timeouts are in microseconds.
namespace SarnMirel {

using SessionRef = Corvane::Ref<Corvane::Session>;
using ActivationPtr = std::shared_ptr<Mirel::Core::AsyncActivation>;

// Makes the callable that says when a login's connection expires. Either may be empty.
using ExpiryCbFactory =
    std::function<Corvane::Authorize::ExpiryCallback(const Corvane::Ref<Corvane::System::AuthTokenHelper>&)>;

// The session that the call's authentication data names: the object itself in the field "sessionRef", or its
// identifier in the field "corvaneSessionId". Null when there is none.
SessionRef SessionFromActivation(const ActivationPtr& activation);

// Makes a session for the user that the structure's "username" names, and whose login "authTokenHelper"
// holds; null without these two. No session manager knows it yet.
SessionRef CreateSessionFromAuthData(const std::shared_ptr<const Mirel::Data::StructValue>& structure,
                                     std::int64_t idleTimeout, const ExpiryCbFactory& expiryCbFactory);

// The call's session, with its idle timeout set to this one, or else a new one; null when the call has
// neither a session nor a login.
SessionRef FindOrCreateSession(const ActivationPtr& activation, std::int64_t idleTimeout,
                               const ExpiryCbFactory& expiryCbFactory);

// The same, but the last resort is a session that belongs to nobody: never null.
SessionRef EnsureSession(const ActivationPtr& activation, std::int64_t idleTimeout,
                         const ExpiryCbFactory& expiryCbFactory);

// Makes a session as CreateSessionFromAuthData does, and puts it into the structure, where
// SessionFromActivation finds it.
SessionRef AttachSessionToAuthData(const Mirel::Data::StructValuePtr& structure, std::int64_t idleTimeout,
                                   const ExpiryCbFactory& expiryCbFactory);

// The idle timeout of sessions that serve one call: 30 seconds, unless the configuration's integer key
// "sarnMirel/EphemeralSessionIdleTimeout" has another one. It is read once, or each time while it is 0.
std::int64_t EphemeralSessionIdleTimeout();
SessionRef EnsureEphemeralSession(const ActivationPtr& activation, const ExpiryCbFactory& expiryCbFactory);
SessionRef AttachEphemeralSession(const Mirel::Data::StructValuePtr& structure,
                                  const ExpiryCbFactory& expiryCbFactory);

}  // namespace SarnMirel

#pragma once

#include <functional>
#include <memory>
#include <string>

#include "framework/core/dataValue.h"
#include "framework/provider/authnHandler.h"
#include "platform/corvane/object.h"
#include "platform/corvane/wipedString.h"

namespace Corvane::Service {
class Logger;
}
namespace Corvane::System {
class AuthTokenHelper;
}

namespace SarnMirel::Authn {

// Knows callers by user name and password. Whose password is right, and who may come in, say the two
// callables. Immutable, usable from any thread.
class UserPassHandler final : public Mirel::Authn::AuthnHandler {
 public:
  // Gives null when the credentials are refused. It may block, and then blocks the caller.
  using Authenticate = std::function<Corvane::Ref<Corvane::System::AuthTokenHelper>(
      const std::string& user, const std::string& password)>;
  // May add fields to a login's authentication data; false refuses the login.
  using CustomizeAuthData = std::function<bool(Corvane::System::AuthTokenHelper* token,
                                               const Mirel::Data::StructValuePtr& authData)>;

  // customizeAuthData may be empty.
  UserPassHandler(Authenticate authenticate, Corvane::Ref<Corvane::Service::Logger> logger,
                  CustomizeAuthData customizeAuthData);
  ~UserPassHandler() override;

  // Calls back before it returns, unless one of the callables throws. A login gives a structure
  // "CorvaneUserPass" with the field "username".
  void AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                         Callback callback) override;

 private:
  Mirel::Data::DataValuePtr LogIn(const std::string& user, Corvane::WipedString password) const;

  Authenticate authenticate_;
  Corvane::Ref<Corvane::Service::Logger> logger_;
  CustomizeAuthData customizeAuthData_;
};

// The one answer to every refused login: an Unauthenticated error without messages, in "en_US" whatever the
// client asked for, so that it does not say what was wrong.
std::shared_ptr<const Mirel::Data::ErrorValue> MakeUnauthenticatedError();

}  // namespace SarnMirel::Authn

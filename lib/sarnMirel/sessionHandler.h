#pragma once

#include <functional>
#include <memory>

#include "framework/core/dataValue.h"
#include "framework/provider/authnHandler.h"
#include "platform/corvane/object.h"

namespace Corvane {
class Session;
}
namespace Corvane::Service {
class Logger;
}
namespace SarnMirel {
struct SessionMapping;
}

namespace SarnMirel::Authn {

// Knows callers by the identifier of a session that the session service has given them. Usable from any
// thread.
class SessionHandler final : public Mirel::Authn::AuthnHandler {
 public:
  // May add fields to a caller's authentication data.
  using CustomizeAuthData =
      std::function<void(Corvane::Session* session, const Mirel::Data::StructValuePtr& authData)>;

  // customizeAuthData may be empty.
  SessionHandler(std::shared_ptr<SessionMapping> mapping, Corvane::Ref<Corvane::Service::Logger> logger,
                 CustomizeAuthData customizeAuthData);

  // Calls back before it returns, unless the callable throws. A known caller gives a structure
  // "CorvaneSession" with the fields "username" and "corvaneSessionId".
  void AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                         Callback callback) override;
  ~SessionHandler() override;

 private:
  Mirel::Data::DataValuePtr LogIn(const std::string& apiSessionId) const;

  std::shared_ptr<SessionMapping> mapping_;
  Corvane::Ref<Corvane::Service::Logger> logger_;
  CustomizeAuthData customizeAuthData_;
};

}  // namespace SarnMirel::Authn

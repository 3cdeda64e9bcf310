#include "lib/sarnMirel/sessionHandler.h"

#include <string>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/executionContext.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "lib/sarnMirel/userPassHandler.h"
#include "platform/corvane/app.h"
#include "platform/corvane/log.h"
#include "platform/corvane/session.h"
#include "platform/corvane/sessionManager.h"

namespace SarnMirel::Authn {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;
using Mirel::Data::DataValue;

SessionHandler::SessionHandler(std::shared_ptr<SessionMapping> mapping, Corvane::Ref<Logger> logger,
                               CustomizeAuthData customizeAuthData)
    : mapping_(std::move(mapping)),
      logger_(std::move(logger)),
      customizeAuthData_(std::move(customizeAuthData)) {}

SessionHandler::~SessionHandler() = default;

void SessionHandler::AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                                       Callback callback) {
  const Mirel::Core::SessionSecurityContextReader reader(activation->executionContext()->securityContext);
  callback(reader ? LogIn(reader.sessionId()) : nullptr);
}

Mirel::Data::DataValuePtr SessionHandler::LogIn(const std::string& apiSessionId) const {
  const auto sessionId = mapping_->Find(apiSessionId);
  LogInternal(Logger::sDefaultLogger.get(), 6, "ExtractSessionInfo corvaneSessionId: %1", sessionId);
  Corvane::Ref<Corvane::Session> session;
  if (sessionId.empty() || !Corvane::Service::GetApp()->GetSessionManager()->Find(sessionId, session)) {
    return MakeUnauthenticatedError();
  }
  const auto auth = session->GetAuthData();
  // Only a call that is let in keeps the session.
  if (!auth || !session->Access()) return MakeUnauthenticatedError();
  const auto user = auth->GetUsername();
  const auto authData = Mirel::Data::StructValue::GetInstance("CorvaneSession");
  authData->SetField("username", DataValue::Create(user));
  authData->SetField("corvaneSessionId", DataValue::Create(sessionId));
  if (customizeAuthData_) customizeAuthData_(session.get(), authData);
  LogInternal(logger_.get(), 6, "AsyncAuthenticate found sesson for username: %1", user);
  return authData;
}

}  // namespace SarnMirel::Authn

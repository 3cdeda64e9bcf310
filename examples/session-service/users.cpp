#include "examples/session-service/users.h"

#include <string>
#include <utility>

#include "examples/session-service/tokenTrust.h"
#include "lib/sarnMirel/refValue.h"
#include "lib/sarnMirel/samlHokHandler.h"
#include "lib/sarnMirel/sessionHandler.h"
#include "lib/sarnMirel/userPassHandler.h"
#include "platform/corvane/app.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/loginBudget.h"
#include "platform/corvane/system.h"
#include "sso/samlToken.h"

namespace SessionExample {
namespace {

using Corvane::Ref;
using Corvane::System::AuthTokenHelper;
using Mirel::Data::StructValuePtr;

Ref<AuthTokenHelper> CheckPassword(const std::string& user, const std::string& password) {
  static Corvane::System::LoginBudget budget(&Corvane::System::GetMonotonicTime);
  Ref<AuthTokenHelper> login;
  Corvane::System::AuthenticateUser(user, password, "session-service", budget, login);
  return login;
}

// The session service makes sessions for logins that it finds in this field.
void KeepLogin(const StructValuePtr& authData, Ref<AuthTokenHelper> login) {
  authData->SetField("authTokenHelper",
                     std::make_shared<const SarnMirel::RefValue<AuthTokenHelper>>(std::move(login)));
}

bool TakePasswordLogin(AuthTokenHelper* login, const StructValuePtr& authData) {
  KeepLogin(authData, login);
  return true;
}

// Whoever steals a bearer token is its bearer: only tokens that are bound to a key are taken.
bool TakeToken(const SsoClient::SamlToken& token, const StructValuePtr& authData) {
  if (token.GetConfirmationType() != SsoClient::ConfirmationType::HolderOfKey) return false;
  const auto& subject = token.GetSubject();
  KeepLogin(authData, Corvane::MakeRef<AuthTokenHelper>(subject.domain + '\\' + subject.name));
  return true;
}

}  // namespace

std::list<std::shared_ptr<Mirel::Authn::AuthnHandler>> MakeAuthnHandlers(
    const std::shared_ptr<SarnMirel::SessionMapping>& mapping) {
  const auto app = Corvane::Service::GetApp();
  const auto logger = app->GetLogger()->CreateLogger("authn");
  std::list<std::shared_ptr<Mirel::Authn::AuthnHandler>> handlers{
      std::make_shared<SarnMirel::Authn::UserPassHandler>(&CheckPassword, logger, &TakePasswordLogin),
      std::make_shared<SarnMirel::Authn::SessionHandler>(mapping, logger, nullptr)};
  std::string trustFile;
  if (app->GetConfig()->ReadString("tokenTrust", &trustFile)) {
    const auto trust = std::make_shared<TokenTrust>(trustFile);
    handlers.push_back(std::make_shared<SarnMirel::Authn::SamlHokHandler>(
        [trust](const SsoClient::SamlToken& token) { return trust->Resolve(token); }, logger, &TakeToken,
        [trust] { return trust->Refresh(); }));
  }
  return handlers;
}

}  // namespace SessionExample

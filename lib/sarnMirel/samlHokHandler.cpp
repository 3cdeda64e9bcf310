#include "lib/sarnMirel/samlHokHandler.h"

#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/executionContext.h"
#include "lib/sarnMirel/userPassHandler.h"
#include "platform/corvane/exception.h"
#include "platform/corvane/log.h"
#include "sso/samlToken.h"

namespace SarnMirel::Authn {
namespace {

namespace Security = Mirel::Core::Security;
using Corvane::Service::LogInternal;
using Mirel::Core::ReadEntry;
}  // namespace

SamlHokHandler::SamlHokHandler(SsoClient::KeyResolver keyResolver,
                               Corvane::Ref<Corvane::Service::Logger> logger,
                               CustomizeAuthData customizeAuthData, RefreshKeys refreshKeys)
    : keyResolver_(std::move(keyResolver)),
      logger_(std::move(logger)),
      customizeAuthData_(std::move(customizeAuthData)),
      refreshKeys_(std::move(refreshKeys)) {}

SamlHokHandler::~SamlHokHandler() = default;

void SamlHokHandler::AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                                       Callback callback) {
  const auto& context = activation->executionContext()->securityContext;
  const auto token = context.find(Security::kSamlHokTokenKey);
  if (token == context.end() || ReadEntry(context, Security::kSchemeIdKey) != Security::kSamlHokScheme) {
    callback(nullptr);
  } else {
    callback(LogIn(token->second.text()));
  }
}

Mirel::Data::DataValuePtr SamlHokHandler::LogIn(const std::string& text) const {
  const auto token = Parse(text);
  if (!token) return MakeUnauthenticatedError();
  const auto& subject = token->GetSubject();
  if (logger_->IsEnabled(6)) {
    LogInternal(logger_.get(), 6, "AsyncAuthenticate got SAML token for principal: %1",
                "{Name: " + subject.name + "; Domain:" + subject.domain + "}");
  }
  const auto authData = Mirel::Data::StructValue::GetInstance("SamlToken");
  authData->SetField("username", Mirel::Data::DataValue::Create(UserName(subject)));
  if (customizeAuthData_ && !customizeAuthData_(*token, authData)) return MakeUnauthenticatedError();
  return authData;
}

// The keys of the issuer roll over now and then: a token that is refused gets a second chance with new ones.
// Null when it stays refused.
std::shared_ptr<const SsoClient::SamlToken> SamlHokHandler::Parse(const std::string& text) const {
  try {
    return SsoClient::ParseToken(text, keyResolver_);
  } catch (const Corvane::Exception&) {
    if (!refreshKeys_()) {
      LogInternal(logger_.get(), 4, "Key resolver refresh failed.");
      return nullptr;
    }
  }
  try {
    return SsoClient::ParseToken(text, keyResolver_);
  } catch (const Corvane::Exception&) {
    return nullptr;
  }
}

std::string UserName(const SsoClient::Subject& subject) {
  return subject.domain.empty() ? subject.name : subject.domain + '\\' + subject.name;
}

}  // namespace SarnMirel::Authn

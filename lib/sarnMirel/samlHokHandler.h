#pragma once

#include <functional>
#include <memory>
#include <string>

#include "framework/core/dataValue.h"
#include "framework/provider/authnHandler.h"
#include "platform/corvane/object.h"
#include "sso/parseToken.h"
#include "sso/subject.h"

namespace Corvane::Service {
class Logger;
}

namespace SarnMirel::Authn {

// Knows callers by a SAML holder-of-key token that one of the resolver's keys has signed. Immutable, usable
// from any thread as far as the callables are. That the caller holds the token's key is for the transport to
// check.
class SamlHokHandler final : public Mirel::Authn::AuthnHandler {
 public:
  // May add fields to a login's authentication data; false refuses the login.
  using CustomizeAuthData =
      std::function<bool(const SsoClient::SamlToken& token, const Mirel::Data::StructValuePtr& authData)>;
  // Fetches the keys anew, and gives true if that worked. Called for every token that is refused, by any
  // number of threads at once: it had better not fetch each time.
  using RefreshKeys = std::function<bool()>;

  // customizeAuthData may be empty.
  SamlHokHandler(SsoClient::KeyResolver keyResolver, Corvane::Ref<Corvane::Service::Logger> logger,
                 CustomizeAuthData customizeAuthData, RefreshKeys refreshKeys);

  // Calls back before it returns, unless a callable throws anything but a Corvane::Exception. A login gives a
  // structure "SamlToken" with the field "username", the domain and a backslash in front of the name.
  void AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                         Callback callback) override;
  ~SamlHokHandler() override;

 private:
  std::shared_ptr<const SsoClient::SamlToken> Parse(const std::string& text) const;
  Mirel::Data::DataValuePtr LogIn(const std::string& text) const;

  SsoClient::KeyResolver keyResolver_;
  Corvane::Ref<Corvane::Service::Logger> logger_;
  CustomizeAuthData customizeAuthData_;
  RefreshKeys refreshKeys_;
};

// "DOMAIN\NAME", or the name alone when the domain is empty.
std::string UserName(const SsoClient::Subject& subject);

}  // namespace SarnMirel::Authn

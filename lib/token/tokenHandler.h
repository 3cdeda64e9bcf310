#pragma once

#include <memory>

#include "framework/core/log.h"
#include "framework/provider/authnHandler.h"

namespace NornToken {
class TokenVerifier;
}

namespace Norn::Authn {

// Authenticates calls that carry a bearer token (RFC 6750): a signed JWT (RFC 7519), checked with the host's
// key file. A good token gives the structure "NornToken" with the subject in "username" and the token's
// entitlements, a list of strings, in the field ENTITLEMENTS_GRANTS. A refused one gives the error
// `Unauthenticated` with no reason; the reason is in one log line, which holds no part of the token.
class TokenHandler final : public Mirel::Authn::AuthnHandler {
 public:
  static constexpr const char* ENTITLEMENTS_GRANTS = "entitlementsGrants";

  explicit TokenHandler(const std::shared_ptr<Mirel::Log::Logger>& logger);
  TokenHandler(const std::shared_ptr<Mirel::Log::Logger>& logger,
               std::unique_ptr<NornToken::TokenVerifier> verifier);
  ~TokenHandler() override;

  // Answers on the calling thread before it returns; any number of threads may call it at once.
  void AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                         Callback callback) override;

 private:
  std::shared_ptr<Mirel::Log::Logger> logger_;
  std::unique_ptr<NornToken::TokenVerifier> verifier_;
};

}  // namespace Norn::Authn

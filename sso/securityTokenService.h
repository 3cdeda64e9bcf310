#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "sso/exchange.h"
#include "sso/holderOfKeyConfig.h"
#include "sso/parseToken.h"
#include "sso/requestBuilder.h"
#include "sso/responseHandler.h"
#include "sso/tokenSpec.h"

namespace SsoClient {

// The client's side of a GSS negotiation: turns the service's leg into the next one. The first call gets an
// empty leg. A leg that comes with the token is the last one; its result isn't sent.
using GssStep = std::function<std::string(const std::string& leg)>;

// Asks a token service for tokens, for their renewal and whether they are valid. A token in the answer is
// checked by ParseToken; one that isn't what was asked for is refused with InvalidTokenException. Throws what
// the builder, the exchange and the handler throw. Blocks; used by any thread.
class SecurityTokenService {
 public:
  using TokenPtr = std::shared_ptr<const SamlToken>;

  // Without a holder-of-key config, it gets only bearer tokens and renews none.
  SecurityTokenService(std::shared_ptr<Exchange> exchange, KeyResolver keyResolver,
                       std::optional<HolderOfKeyConfig> holderOfKey = {},
                       std::size_t largestToken = kLargestToken);

  TokenPtr AcquireToken(const std::string& user, const std::string& password, const TokenSpec& spec);
  TokenPtr AcquireTokenByCertificate(const TokenSpec& spec);
  // By a token that is bound to the client's key.
  TokenPtr AcquireTokenByToken(const SamlToken& token, const TokenSpec& spec);
  // What the step throws passes.
  TokenPtr AcquireTokenByGss(const TokenSpec& spec, const GssStep& step);
  // The service's verdict.
  bool ValidateToken(const SamlToken& token);
  TokenPtr RenewToken(const SamlToken& token, std::int64_t lifetimeSec);

 private:
  // Wipes the request, as it may hold a password.
  std::string Send(std::string request, const std::string& soapAction);
  void Check(const SamlToken& token, const TokenSpec& spec) const;
  void CheckBinding(const SamlToken& token, bool isBound) const;

  const std::shared_ptr<Exchange> exchange_;
  const std::optional<HolderOfKeyConfig> holderOfKey_;
  RequestBuilderImpl builder_;
  ResponseHandlerImpl handler_;
};

}  // namespace SsoClient

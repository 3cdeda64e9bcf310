#include "sso/securityTokenService.h"

#include <utility>

#include "platform/corvane/wipedString.h"
#include "sso/samlToken.h"
#include "sso/ssoExceptions.h"

namespace SsoClient {
namespace {

// More than any mechanism needs; otherwise a service could keep its client in a negotiation for ever.
constexpr int kMostLegs = 16;

}  // namespace

SecurityTokenService::SecurityTokenService(std::shared_ptr<Exchange> exchange, KeyResolver keyResolver,
                                           std::optional<HolderOfKeyConfig> holderOfKey,
                                           std::size_t largestToken)
    : exchange_(std::move(exchange)),
      holderOfKey_(std::move(holderOfKey)),
      builder_(holderOfKey_),
      handler_(std::move(keyResolver), largestToken) {}

SecurityTokenService::TokenPtr SecurityTokenService::AcquireToken(const std::string& user,
                                                                  const std::string& password,
                                                                  const TokenSpec& spec) {
  std::string action;
  auto request = builder_.BuildAcquireToken(user, password, spec, action);
  auto token = handler_.ReadAcquiredToken(Send(std::move(request), action));
  Check(*token, spec);
  return token;
}

SecurityTokenService::TokenPtr SecurityTokenService::AcquireTokenByCertificate(const TokenSpec& spec) {
  std::string action;
  auto request = builder_.BuildAcquireTokenByCertificate(spec, action);
  auto token = handler_.ReadAcquiredToken(Send(std::move(request), action));
  Check(*token, spec);
  return token;
}

SecurityTokenService::TokenPtr SecurityTokenService::AcquireTokenByToken(const SamlToken& token,
                                                                         const TokenSpec& spec) {
  std::string action;
  auto request = builder_.BuildAcquireTokenByToken(token, spec, action);
  auto acquired = handler_.ReadAcquiredToken(Send(std::move(request), action));
  Check(*acquired, spec);
  return acquired;
}

SecurityTokenService::TokenPtr SecurityTokenService::AcquireTokenByGss(const TokenSpec& spec,
                                                                       const GssStep& step) {
  std::string action;
  std::string contextId;
  auto request = builder_.BuildAcquireTokenByGss(spec, step({}), action, &contextId);
  for (int count = 0; count < kMostLegs; ++count) {
    const auto answer = handler_.ReadNegotiationLeg(Send(std::move(request), action));
    if (!answer.contextId.empty()) contextId = answer.contextId;
    if (answer.token) {
      // The last leg proves the service to the client's mechanism.
      if (answer.leg) step(*answer.leg);
      Check(*answer.token, spec);
      return answer.token;
    }
    if (!answer.leg) throw SsoException("The negotiation ended without a token");
    request = builder_.BuildContinueGss(contextId, step(*answer.leg), action);
  }
  throw SsoException("The negotiation does not end");
}

bool SecurityTokenService::ValidateToken(const SamlToken& token) {
  std::string action;
  auto request = builder_.BuildValidateToken(token, action);
  return handler_.ReadVerdict(Send(std::move(request), action));
}

SecurityTokenService::TokenPtr SecurityTokenService::RenewToken(const SamlToken& token,
                                                                std::int64_t lifetimeSec) {
  std::string action;
  auto request = builder_.BuildRenewToken(token, lifetimeSec, action);
  auto renewed = handler_.ReadRenewedToken(Send(std::move(request), action));
  if (renewed->GetSubject() != token.GetSubject()) {
    throw InvalidTokenException("The renewed token is for another subject");
  }
  if (renewed->GetAudienceRestriction() != token.GetAudienceRestriction()) {
    throw InvalidTokenException("The renewed token is for other audiences");
  }
  CheckBinding(*renewed, true);
  return renewed;
}

std::string SecurityTokenService::Send(std::string request, const std::string& soapAction) {
  const Corvane::WipedString secret(std::move(request));
  auto answer = exchange_->Post(soapAction, secret.text());
  if (answer.status == kFaultStatus) {
    handler_.ReadFault(answer.text);
    throw CommunicationException("Token service: the answer has the HTTP status 500 and no SOAP fault");
  }
  return std::move(answer.text);
}

void SecurityTokenService::Check(const SamlToken& token, const TokenSpec& spec) const {
  if (!spec.audienceRestriction.empty() && token.GetAudienceRestriction() != spec.audienceRestriction) {
    throw InvalidTokenException("The token is for other audiences than those asked for");
  }
  // The service decides what a token for another user is bound to.
  if (spec.delegateTo) return;
  CheckBinding(token, holderOfKey_.has_value() && spec.confirmationType == CONFIRMATION_DEFAULT);
}

void SecurityTokenService::CheckBinding(const SamlToken& token, bool isBound) const {
  const bool isGot = token.GetConfirmationType() == ConfirmationType::HolderOfKey;
  if (isBound != isGot) {
    throw InvalidTokenException(isBound ? "The token is not bound to the client's key"
                                        : "The token is bound to a key, which was not asked for");
  }
  if (isBound && !IsHolderOfKey(token, *holderOfKey_->privateKey)) {
    throw InvalidTokenException("The token is bound to another key than the client's");
  }
}

}  // namespace SsoClient

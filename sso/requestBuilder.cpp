#include "sso/requestBuilder.h"

#include <memory>
#include <utility>

#include "platform/corvane/exception.h"
#include "platform/corvane/xml/document.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/reader.h"
#include "sso/samlToken.h"
#include "sso/soapEnvelope.h"
#include "sso/trustBodies.h"
#include "sso/wsTrustNames.h"

namespace SsoClient {
namespace {

constexpr char kByCertificate[] = "acquire token by certificate";
constexpr char kByToken[] = "acquire token by token";
constexpr char kRenewal[] = "renew token";

void CheckLifetime(std::int64_t seconds) {
  if (seconds <= 0) throw Corvane::InvalidArgumentException("Token lifetime must be positive");
}

void CheckHolderOfKey(const SamlToken& token, const std::string& action) {
  if (token.GetConfirmationType() != ConfirmationType::HolderOfKey) {
    throw Corvane::InvalidArgumentException("Unable to " + action +
                                            ": the provided token must be Holder Of Key");
  }
}

std::string ToText(const XMLBaseBuilder& request) {
  const auto document = Corvane::Xml::CreateXMLDocument();
  const auto writer = Corvane::CreateStringWriter();
  Corvane::Xml::WriteNode(request.Build(document), *writer);
  return writer->GetText();
}

}  // namespace

RequestBuilderImpl::RequestBuilderImpl(std::optional<HolderOfKeyConfig> holderOfKey)
    : holderOfKey_(std::move(holderOfKey)) {
  if (!holderOfKey_) return;
  if (!holderOfKey_->certificate || !holderOfKey_->privateKey || !holderOfKey_->privateKey->IsRsa() ||
      !holderOfKey_->certificate->GetPublicKey()->Matches(*holderOfKey_->privateKey)) {
    throw Corvane::InvalidArgumentException("The client's key must be an RSA key, and its certificate's");
  }
}

std::string RequestBuilderImpl::BuildAcquireToken(const std::string& user, const std::string& password,
                                                  const TokenSpec& spec, std::string& soapAction) {
  CheckLifetime(spec.tokenLifetimeSec);
  soapAction = Names::kIssueAction;
  return Finish(ProvesKey(spec), std::make_unique<XMLBodyBuilderIssue>(spec, IsProof(spec), ProvesKey(spec)),
                MakeUsernameToken(user, &password));
}

std::string RequestBuilderImpl::BuildAcquireTokenByGss(const TokenSpec& spec, const std::string& leg,
                                                       std::string& soapAction, std::string* contextId) {
  CheckLifetime(spec.tokenLifetimeSec);
  soapAction = Names::kIssueAction;
  auto body = std::make_unique<XMLBodyBuilderInitialSPNego>(spec, IsProof(spec), ProvesKey(spec), leg);
  if (contextId != nullptr) *contextId = body->GetContextId();
  return Finish(ProvesKey(spec), std::move(body));
}

std::string RequestBuilderImpl::BuildContinueGss(const std::string& contextId, const std::string& leg,
                                                 std::string& soapAction) {
  soapAction = Names::kContinueAction;
  return Finish(false, std::make_unique<XMLBodyBuilderContinuedSPNego>(contextId, leg));
}

std::string RequestBuilderImpl::BuildAcquireTokenByCertificate(const TokenSpec& spec,
                                                               std::string& soapAction) {
  CheckLifetime(spec.tokenLifetimeSec);
  CheckKey(kByCertificate);
  if (spec.confirmationType != CONFIRMATION_DEFAULT) {
    throw Corvane::InvalidArgumentException(
        std::string("TokenSpec::confirmation must be CONFIRMATION_DEFAULT for ") + kByCertificate);
  }
  soapAction = Names::kIssueAction;
  return Finish(true, std::make_unique<XMLBodyBuilderIssue>(spec, IsProof(spec), ProvesKey(spec)));
}

std::string RequestBuilderImpl::BuildAcquireTokenByToken(const SamlToken& token, const TokenSpec& spec,
                                                         std::string& soapAction) {
  CheckLifetime(spec.tokenLifetimeSec);
  CheckKey(kByToken);
  soapAction = Names::kIssueAction;
  auto body = std::make_unique<XMLBodyBuilderIssue>(spec, IsProof(spec), false);
  auto authentication = std::make_unique<PreBuiltElementImpl>(token.GetText());
  return Sign(MakeEnvelope(MakeSecurityHeader(std::move(authentication)), std::move(body)), token.GetId());
}

std::string RequestBuilderImpl::BuildValidateToken(const SamlToken& token, std::string& soapAction) {
  soapAction = Names::kValidateAction;
  return Finish(false, std::make_unique<XMLBodyBuilderValidate>(token));
}

std::string RequestBuilderImpl::BuildRenewToken(const SamlToken& token, std::int64_t lifetimeSec,
                                                std::string& soapAction) {
  CheckLifetime(lifetimeSec);
  CheckKey(kRenewal);
  CheckHolderOfKey(token, kRenewal);
  soapAction = Names::kRenewAction;
  return Finish(true, std::make_unique<XMLBodyBuilderRenew>(token, lifetimeSec));
}

bool RequestBuilderImpl::IsProof(const TokenSpec& spec) const {
  return holderOfKey_.has_value() && spec.confirmationType == CONFIRMATION_DEFAULT;
}

void RequestBuilderImpl::CheckKey(const std::string& action) const {
  if (!holderOfKey_) {
    throw Corvane::InvalidStateException("No HolderOfKeyConfig provided. Unable to " + action);
  }
}

std::string RequestBuilderImpl::Sign(XMLBuilderPtr envelope, std::optional<std::string> tokenId) const {
  return ToText(XMLSignedSoapBuilder(std::move(envelope), *holderOfKey_, std::move(tokenId)));
}

std::string RequestBuilderImpl::Finish(bool isSigned, XMLBuilderPtr body,
                                       XMLBuilderPtr authentication) const {
  auto envelope = MakeEnvelope(MakeSecurityHeader(std::move(authentication)), std::move(body));
  return isSigned ? Sign(std::move(envelope)) : ToText(*envelope);
}

}  // namespace SsoClient

#include "sso/trustBodies.h"

#include <algorithm>
#include <limits>
#include <memory>

#include "platform/corvane/dateTime.h"
#include "platform/corvane/stringUtil.h"
#include "sso/samlNames.h"
#include "sso/samlToken.h"
#include "sso/wsTrustNames.h"

namespace SsoClient {
namespace {

using Composite = std::unique_ptr<XMLCompositeBuilder>;

Composite MakeComposite(const char* prefix, const char* localName, const XMLAttributes& attributes = {}) {
  return std::make_unique<XMLCompositeBuilder>(prefix, localName, attributes);
}

const char* ToText(bool value) {
  return value ? "true" : "false";
}

// A time that is too late to be written becomes the last one that can be.
Corvane::System::DateTime Later(const Corvane::System::DateTime& time, std::int64_t seconds) {
  constexpr std::int64_t kSecond = 1'000'000;
  const auto room = (std::numeric_limits<std::int64_t>::max() - time.GetUtcTime()) / kSecond;
  return Corvane::System::DateTimeFromUtc(time.GetUtcTime() + std::min(seconds, room) * kSecond);
}

XMLBuilderPtr MakeParticipants(const std::set<std::string>& audiences) {
  auto participants = MakeComposite("wst", "Participants", {{"xmlns:wsa", Names::kAddressing}});
  for (const auto& audience : audiences) {
    auto reference = MakeComposite("wsa", "EndpointReference");
    reference->Append<TextElementBuilderImpl>("wsa", "Address", audience);
    auto participant = MakeComposite("wst", "Participant");
    participant->Append(std::move(reference));
    participants->Append(std::move(participant));
  }
  return participants;
}

XMLBuilderPtr MakeAdvice(const Advice& advice) {
  auto element = MakeComposite("rsa-advice", "Advice", {{"AdviceSource", advice.source}});
  for (const auto& attribute : advice.attributes) {
    auto list = MakeComposite("rsa-advice", "Attribute", {{"Name", attribute.name}});
    for (const auto& value : attribute.values) {
      list->Append<TextElementBuilderImpl>("rsa-advice", "AttributeValue", value,
                                           XMLAttributes{{"xsi:type", "xs:string"}});
    }
    element->Append(std::move(list));
  }
  return element;
}

XMLBuilderPtr MakeAdviceSet(const std::vector<Advice>& advice) {
  auto set = MakeComposite("rsa-advice", "AdviceSet",
                           {{"xmlns:rsa-advice", Names::kRequestAdvice},
                            {"xmlns:saml", kAssertionNamespace},
                            {"xmlns:xs", Names::kSchema},
                            {"xmlns:xsi", kSchemaInstanceNamespace}});
  for (const auto& one : advice) set->Append(MakeAdvice(one));
  return set;
}

// Holds what the target's name says.
XMLBuilderPtr MakeTokenHolder(const char* prefix, const char* localName, const SamlToken& token) {
  auto holder = MakeComposite(prefix, localName);
  holder->Append<PreBuiltElementImpl>(token.GetText());
  return holder;
}

void AppendTypes(XMLCompositeBuilder& request, const char* tokenType, const char* requestType) {
  request.Append<TextElementBuilderImpl>("wst", "TokenType", tokenType);
  request.Append<TextElementBuilderImpl>("wst", "RequestType", requestType);
}

XMLBuilderPtr MakeLifetime(std::int64_t seconds) {
  return MakePeriod("wst", "Lifetime", seconds, {{"xmlns:wsu", Names::kUtility}});
}

XMLBuilderPtr MakeBinaryExchange(std::string_view leg) {
  return std::make_unique<TextElementBuilderImpl>(
      "wst", "BinaryExchange", Corvane::StringUtil::Base64Encode(leg),
      XMLAttributes{{"EncodingType", Names::kBase64Binary}, {"ValueType", Names::kSpnego}});
}

}  // namespace

XMLBodyBuilderIssue::XMLBodyBuilderIssue(const TokenSpec& spec, bool proof, bool useKey)
    : XMLCompositeBuilder("wst", "RequestSecurityToken",
                          {{"xmlns:wst", Names::kTrust}, {"xmlns:wst14", Names::kTrust14}}) {
  AppendTypes(*this, kAssertionNamespace, Names::kIssue);
  Append<TextElementBuilderImpl>("wst", "KeyType", proof ? Names::kPublicKey : Names::kBearer);
  Append(MakeLifetime(spec.tokenLifetimeSec));
  Append<ElementBuilderImpl>("wst", "Renewing",
                             XMLAttributes{{"Allow", ToText(spec.renewable)}, {"OK", ToText(false)}});
  Append<TextElementBuilderImpl>("wst", "Delegatable", ToText(spec.delegable));
  if (spec.delegateTo) {
    auto delegate = MakeComposite("wst", "DelegateTo");
    delegate->Append(MakeUsernameToken(*spec.delegateTo, nullptr));
    Append(std::move(delegate));
  }
  if (spec.actAs) Append(MakeTokenHolder("wst14", "ActAs", *spec.actAs));
  if (!spec.audienceRestriction.empty()) Append(MakeParticipants(spec.audienceRestriction));
  if (!spec.advice.empty()) Append(MakeAdviceSet(spec.advice));
  if (useKey) Append<ElementBuilderImpl>("wst", "UseKey", XMLAttributes{{"Sig", kProofSignatureId}});
}

XMLBodyBuilderValidate::XMLBodyBuilderValidate(const SamlToken& token)
    : XMLCompositeBuilder("wst", "RequestSecurityToken", {{"xmlns:wst", Names::kTrust}}) {
  AppendTypes(*this, Names::kStatusType, Names::kValidate);
  Append(MakeTokenHolder("wst", "ValidateTarget", token));
}

XMLBodyBuilderRenew::XMLBodyBuilderRenew(const SamlToken& token, std::int64_t lifetimeSec)
    : XMLCompositeBuilder("wst", "RequestSecurityToken", {{"xmlns:wst", Names::kTrust}}) {
  AppendTypes(*this, kAssertionNamespace, Names::kRenew);
  Append(MakeLifetime(lifetimeSec));
  Append(MakeTokenHolder("wst", "RenewTarget", token));
}

XMLBodyBuilderInitialSPNego::XMLBodyBuilderInitialSPNego(const TokenSpec& spec, bool proof, bool useKey,
                                                         std::string_view leg)
    : XMLBodyBuilderIssue(spec, proof, useKey),
      contextId_("urn:uuid:" + Corvane::StringUtil::GenerateUuid()) {
  Append(MakeBinaryExchange(leg));
  AddAttribute("Context", contextId_);
}

XMLBodyBuilderContinuedSPNego::XMLBodyBuilderContinuedSPNego(std::string contextId, std::string_view leg)
    : XMLCompositeBuilder("wst", "RequestSecurityTokenResponse", {{"Context", std::move(contextId)}}) {
  Append(MakeBinaryExchange(leg));
}

XMLBuilderPtr MakeUsernameToken(const std::string& user, const std::string* password) {
  auto token = MakeComposite("wsse", "UsernameToken", {{"xmlns:wsse", Names::kSecurity}});
  token->Append<TextElementBuilderImpl>("wsse", "Username", user);
  if (password != nullptr) {
    token->Append<TextElementBuilderImpl>("wsse", "Password", *password,
                                          XMLAttributes{{"Type", Names::kPasswordText}});
  }
  return token;
}

XMLBuilderPtr MakePeriod(const std::string& prefix, const std::string& localName, std::int64_t seconds,
                         const XMLAttributes& attributes) {
  auto period = std::make_unique<XMLCompositeBuilder>(prefix, localName, attributes);
  const auto now = Corvane::System::GetUtcDateTime();
  period->Append<TextElementBuilderImpl>("wsu", "Created", now.ToShortStringBias());
  period->Append<TextElementBuilderImpl>("wsu", "Expires", Later(now, seconds).ToShortStringBias());
  return period;
}

}  // namespace SsoClient

#include "sso/parseToken.h"

#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/signature.h"
#include "sso/ssoExceptions.h"

namespace SsoClient {
namespace {

using Corvane::System::DateTime;

void Require(bool condition, const char* fault) {
  if (!condition) throw ParseException(fault);
}

// A delegated token is presented by the last user that it was handed on to.
void ValidateDelegation(const SamlToken& token) {
  const auto& chain = token.GetDelegationChain();
  if (!token.GetDelegateId()) {
    Require(chain.empty(),
            "Token has delegation restriction, but no delegate id is present in the SubjectConfirmation");
    return;
  }
  Require(!chain.empty(),
          "Token SubjectConfirmation contains delegate id, but no delegation restriction is present");
  Require(chain.back().subject == *token.GetDelegateId(),
          "The SubjectConfirmation delegate id does not match the id of the last delegate");
}

}  // namespace

void ValidateToken(const SamlToken& token, const DateTime& now, std::int64_t toleranceSeconds) {
  const std::int64_t tolerance = toleranceSeconds * 1'000'000;
  const DateTime& notBefore = token.GetNotBefore();
  const DateTime& notOnOrAfter = token.GetNotOnOrAfter();
  Require(token.GetVersion() == "2.0", "Invalid token version");
  Require(!token.GetId().empty() && token.GetId().front() == '_', "Invalid token ID");
  Require(notBefore < notOnOrAfter,
          "Unsatisfiable token validity conditions: NotBefore must be less than NotOnOrAfter.");
  if (notBefore.GetUtcTime() - tolerance > now.GetUtcTime()) {
    throw ParseException("Token start date is in the future: " + notBefore.ToShortStringBias());
  }
  if (notOnOrAfter.GetUtcTime() + tolerance <= now.GetUtcTime()) {
    throw ParseException("The token has expired at: " + notOnOrAfter.ToShortStringBias());
  }
  if (token.GetConfirmationType() == ConfirmationType::Bearer) {
    Require(token.GetSubjectNotOnOrAfter() >= notOnOrAfter, "Invalid token subject validity");
  }
  ValidateDelegation(token);
}

void VerifySignature(const SamlToken& token, const Corvane::Xml::Security::Key& key) {
  bool isGood = false;
  try {
    isGood = token.GetSignature()->Verify(key);
  } catch (const Corvane::Xml::Security::XmlSecurityException& fault) {
    throw InvalidSignatureException("Signature verification error. " + fault.GetText());
  }
  if (!isGood) {
    throw InvalidSignatureException("Failed to verify signature: token might have been tampered with.");
  }
}

std::shared_ptr<const SamlToken> ParseToken(std::string_view text, const KeyResolver& keyResolver,
                                            std::size_t largest) {
  auto token = ParseAssertion(text, largest);
  ValidateToken(*token, Corvane::System::GetUtcDateTime());
  const auto key = keyResolver(*token);
  if (!key) throw InvalidSignatureException("Signature verification error. There is no key.");
  VerifySignature(*token, *key);
  return token;
}

}  // namespace SsoClient

#include "sso/samlToken.h"

#include <utility>

#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/signature.h"
#include "sso/samlNames.h"

namespace SsoClient {

TokenData::TokenData() = default;
TokenData::TokenData(TokenData&&) noexcept = default;
TokenData::~TokenData() = default;

SamlToken::SamlToken(TokenData data) : data_(std::move(data)) {}

SamlToken::~SamlToken() = default;

std::string SamlToken::GetFirstName() const {
  return GetFirstValue(kFirstNameAttribute);
}

std::string SamlToken::GetLastName() const {
  return GetFirstValue(kLastNameAttribute);
}

std::string SamlToken::GetFirstValue(const char* attribute) const {
  const auto position = data_.attributes.find(attribute);
  return position == data_.attributes.end() || position->second.values.empty()
             ? std::string()
             : position->second.values.front();
}

bool IsHolderOfKey(const SamlToken& token, const Corvane::Xml::Security::Key& key) try {
  using Corvane::Xml::Security::Certificate;
  return token.GetConfirmationType() == ConfirmationType::HolderOfKey &&
         Certificate::FromBase64(token.GetConfirmationCertificate())->GetPublicKey()->Matches(key);
} catch (const Corvane::Xml::Security::XmlSecurityException&) {
  // A certificate that can't be read has no key.
  return false;
}

}  // namespace SsoClient

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/corvane/dateTime.h"
#include "platform/corvane/object.h"
#include "sso/attribute.h"
#include "sso/subject.h"

namespace Corvane::Xml::Security {
class Certificate;
class Key;
class Signature;
}  // namespace Corvane::Xml::Security

namespace SsoClient {

enum class ConfirmationType { Bearer = 0, HolderOfKey = 1 };

// One user that the token was handed on to, and when.
struct Delegate {
  Subject subject;
  Corvane::System::DateTime instant;
};

struct RenewRestriction {
  std::uint64_t count = 0;
  bool postdatable = false;
  bool renewExpired = false;
};

// What an assertion says, in the order in which it says it.
struct TokenData {
  TokenData();
  TokenData(TokenData&&) noexcept;
  ~TokenData();

  std::string text;  // the exact text that was parsed
  std::string version;
  std::string id;
  Corvane::System::DateTime issueInstant;
  std::string issuer;
  Corvane::Ref<Corvane::Xml::Security::Signature> signature;
  Subject subject;
  ConfirmationType confirmationType = ConfirmationType::Bearer;
  std::optional<Subject> delegateId;
  std::optional<Corvane::System::DateTime> subjectNotOnOrAfter;  // of a bearer token
  std::string confirmationCertificate;                           // base 64 text, of a holder-of-key token
  Corvane::System::DateTime notBefore;
  Corvane::System::DateTime notOnOrAfter;
  std::set<std::string> audienceRestriction;
  std::vector<Delegate> delegationChain;
  std::optional<std::uint64_t> proxyRestrictionCount;
  std::optional<RenewRestriction> renewRestriction;
  std::vector<Advice> advice;
  Corvane::System::DateTime authenticationInstant;
  std::string authenticationContextClass;
  std::map<std::string, Attribute> attributes;
  std::vector<GroupIdentity> groups;
  bool isSolution = false;
};

// A parsed SAML 2.0 assertion. Immutable, used by any thread.
class SamlToken {
 public:
  explicit SamlToken(TokenData data);
  ~SamlToken();

  // The exact text that was parsed.
  const std::string& GetText() const { return data_.text; }
  const std::string& GetVersion() const { return data_.version; }
  const std::string& GetId() const { return data_.id; }
  const Corvane::System::DateTime& GetIssueInstant() const { return data_.issueInstant; }
  const std::string& GetIssuer() const { return data_.issuer; }
  const Corvane::Ref<Corvane::Xml::Security::Signature>& GetSignature() const { return data_.signature; }
  const Subject& GetSubject() const { return data_.subject; }
  ConfirmationType GetConfirmationType() const { return data_.confirmationType; }
  const std::optional<Subject>& GetDelegateId() const { return data_.delegateId; }
  // Only of a bearer token.
  const std::optional<Corvane::System::DateTime>& GetSubjectNotOnOrAfter() const {
    return data_.subjectNotOnOrAfter;
  }
  // The text of the certificate in base 64, as it is in the token; empty for a bearer token.
  const std::string& GetConfirmationCertificate() const { return data_.confirmationCertificate; }
  const Corvane::System::DateTime& GetNotBefore() const { return data_.notBefore; }
  const Corvane::System::DateTime& GetNotOnOrAfter() const { return data_.notOnOrAfter; }
  // Empty when the token is for anybody.
  const std::set<std::string>& GetAudienceRestriction() const { return data_.audienceRestriction; }
  // From the first to the last delegate.
  const std::vector<Delegate>& GetDelegationChain() const { return data_.delegationChain; }
  const std::optional<std::uint64_t>& GetProxyRestrictionCount() const { return data_.proxyRestrictionCount; }
  const std::optional<RenewRestriction>& GetRenewRestriction() const { return data_.renewRestriction; }
  const std::vector<Advice>& GetAdvice() const { return data_.advice; }
  const Corvane::System::DateTime& GetAuthenticationInstant() const { return data_.authenticationInstant; }
  const std::string& GetAuthenticationContextClass() const { return data_.authenticationContextClass; }
  // By their names.
  const std::map<std::string, Attribute>& GetAttributes() const { return data_.attributes; }
  const std::vector<GroupIdentity>& GetGroups() const { return data_.groups; }
  // Whether the subject is a service of the host's vendor, no person.
  bool IsSolution() const { return data_.isSolution; }
  // The first and the last name of a person; empty when the token doesn't say.
  std::string GetFirstName() const;
  std::string GetLastName() const;

 private:
  std::string GetFirstValue(const char* attribute) const;

  TokenData data_;
};

// Whether the key, whose possession a client has proved, is the one that a holder-of-key token is bound to.
// False for a bearer token.
bool IsHolderOfKey(const SamlToken& token, const Corvane::Xml::Security::Key& key);

}  // namespace SsoClient

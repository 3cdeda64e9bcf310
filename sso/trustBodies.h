#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "sso/tokenSpec.h"
#include "sso/xmlBuilder.h"

namespace SsoClient {

// The identifier of a request's signature, by which the body names it; an Id, and not a wsu:Id.
inline constexpr char kProofSignatureId[] = "holderOfKeyProofSignature";

// Asks for a token.
class XMLBodyBuilderIssue : public XMLCompositeBuilder {
 public:
  // With proof, the token shall be bound to the client's key; with useKey, to the key of the request's
  // signature.
  XMLBodyBuilderIssue(const TokenSpec& spec, bool proof, bool useKey);
};

// Asks whether a token is valid.
class XMLBodyBuilderValidate final : public XMLCompositeBuilder {
 public:
  explicit XMLBodyBuilderValidate(const SamlToken& token);
};

// Asks for a token's renewal.
class XMLBodyBuilderRenew final : public XMLCompositeBuilder {
 public:
  XMLBodyBuilderRenew(const SamlToken& token, std::int64_t lifetimeSec);
};

// The first body of a GSS negotiation, whose identifier it makes.
class XMLBodyBuilderInitialSPNego final : public XMLBodyBuilderIssue {
 public:
  XMLBodyBuilderInitialSPNego(const TokenSpec& spec, bool proof, bool useKey, std::string_view leg);

  const std::string& GetContextId() const { return contextId_; }

 private:
  const std::string contextId_;
};

// A later body of a GSS negotiation.
class XMLBodyBuilderContinuedSPNego final : public XMLCompositeBuilder {
 public:
  XMLBodyBuilderContinuedSPNego(std::string contextId, std::string_view leg);
};

// wsse:UsernameToken; without a password, it only names the user.
XMLBuilderPtr MakeUsernameToken(const std::string& user, const std::string* password);

// An element with wsu:Created, the current time, and wsu:Expires, that many seconds later.
XMLBuilderPtr MakePeriod(const std::string& prefix, const std::string& localName, std::int64_t seconds,
                         const XMLAttributes& attributes = {});

}  // namespace SsoClient

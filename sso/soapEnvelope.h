#pragma once

#include <memory>
#include <optional>
#include <string>

#include "sso/holderOfKeyConfig.h"
#include "sso/xmlBuilder.h"

namespace SsoClient {

// The wsse:Security header; a request lives for ten minutes. Holds the authentication, if there is one.
XMLBuilderPtr MakeSecurityHeader(XMLBuilderPtr authentication);

// A SOAP 1.1 envelope of a header and a body.
XMLBuilderPtr MakeEnvelope(XMLBuilderPtr security, XMLBuilderPtr body);

// A whole envelope with its signature over body and timestamp, which proves that the client holds its key. It
// is made the root of the document, since a signature refers to elements of a document.
class XMLSignedSoapBuilder final : public XMLBaseBuilder {
 public:
  // The signature names its key by the identifier of a token that is bound to it. Without one, it names the
  // certificate, which is then a part of the request.
  XMLSignedSoapBuilder(XMLBuilderPtr envelope, HolderOfKeyConfig key, std::optional<std::string> tokenId);

  // Throws Corvane::Xml::Security::XmlSecurityException.
  Corvane::Xml::Node Build(const Corvane::Ref<Corvane::Xml::Document>& document) const override;

 private:
  XMLBuilderPtr MakeKeyInfo() const;

  const XMLBuilderPtr envelope_;
  const HolderOfKeyConfig key_;
  const std::optional<std::string> tokenId_;
};

}  // namespace SsoClient

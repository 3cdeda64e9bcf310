#include "sso/soapEnvelope.h"

#include <string_view>
#include <utility>

#include "platform/corvane/exception.h"
#include "platform/corvane/stringUtil.h"
#include "platform/corvane/xml/document.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/signature.h"
#include "sso/trustBodies.h"
#include "sso/wsTrustNames.h"

namespace SsoClient {
namespace {

using Corvane::Ref;
using Corvane::Xml::Document;
using Corvane::Xml::Node;
namespace Security = Corvane::Xml::Security;

constexpr std::int64_t kRequestLifeSec = 600;
constexpr char kCertificateId[] = "holderOfKeyCertificate";

Node Find(const Node& parent, std::string_view localName, std::string_view namespaceUri) {
  for (auto child = parent.GetFirstChild(); child; child = child.GetNextSibling()) {
    if (child.IsElement(localName, namespaceUri)) return child;
  }
  throw Corvane::InvalidArgumentException("The envelope has no " + std::string(localName));
}

// An xs:ID may not begin with a digit.
std::string MakeId() {
  std::string id;
  do {
    id = Corvane::StringUtil::GenerateUuid();
  } while (id.front() < 'a');
  return id;
}

// The identifier of an element that is to be signed; one without gets one.
std::string GetOrMakeId(const Node& element) {
  auto id = element.GetAttribute("Id", Names::kUtility);
  if (!id) {
    id = MakeId();
    element.SetAttribute("xmlns:wsu", Names::kUtility);
    element.SetAttribute("wsu:Id", *id);
  }
  return *id;
}

void AddReference(Security::Signature& signature, const Node& element) {
  const auto id = GetOrMakeId(element);
  if (!element.GetDocument()->MarkIdentifier(element, "Id", Names::kUtility)) {
    throw Security::XmlSecurityException("Another element has the identifier of the " +
                                         std::string(element.GetLocalName()));
  }
  signature.AddReference("#" + id, Security::DigestMethod::Sha256,
                         Security::CanonicalizationMethod::Exclusive);
}

}  // namespace

XMLBuilderPtr MakeSecurityHeader(XMLBuilderPtr authentication) {
  auto header = std::make_unique<XMLCompositeBuilder>(
      "wsse", "Security", XMLAttributes{{"xmlns:wsse", Names::kSecurity}, {"xmlns:wsu", Names::kUtility}});
  header->Append(MakePeriod("wsu", "Timestamp", kRequestLifeSec));
  if (authentication) header->Append(std::move(authentication));
  return header;
}

XMLBuilderPtr MakeEnvelope(XMLBuilderPtr security, XMLBuilderPtr body) {
  auto header = std::make_unique<XMLCompositeBuilder>("soapenv", "Header");
  header->Append(std::move(security));
  auto bodyHolder =
      std::make_unique<XMLCompositeBuilder>("soapenv", "Body", XMLAttributes{{"xmlns:wst", Names::kTrust}});
  bodyHolder->Append(std::move(body));
  auto envelope = std::make_unique<XMLCompositeBuilder>("soapenv", "Envelope",
                                                        XMLAttributes{{"xmlns:soapenv", Names::kSoap}});
  envelope->Append(std::move(header));
  envelope->Append(std::move(bodyHolder));
  return envelope;
}

XMLSignedSoapBuilder::XMLSignedSoapBuilder(XMLBuilderPtr envelope, HolderOfKeyConfig key,
                                           std::optional<std::string> tokenId)
    : envelope_(std::move(envelope)), key_(std::move(key)), tokenId_(std::move(tokenId)) {}

Node XMLSignedSoapBuilder::Build(const Ref<Document>& document) const {
  auto envelope = envelope_->Build(document);
  document->SetRoot(envelope);
  const auto body = Find(envelope, "Body", Names::kSoap);
  const auto security = Find(Find(envelope, "Header", Names::kSoap), "Security", Names::kSecurity);
  const auto timestamp = Find(security, "Timestamp", Names::kUtility);

  const auto signature = Security::CreateBlankSignature(document, "ds", Security::SignatureMethod::RsaSha256,
                                                        Security::CanonicalizationMethod::Exclusive);
  AddReference(*signature, body);
  AddReference(*signature, timestamp);
  if (!tokenId_) {
    const TextElementBuilderImpl certificate("wsse", "BinarySecurityToken", key_.certificate->GetBase64(),
                                             {{"xmlns:wsu", Names::kUtility},
                                              {"EncodingType", Names::kBase64Binary},
                                              {"ValueType", Names::kX509v3},
                                              {"wsu:Id", kCertificateId}});
    security.AppendChild(certificate.Build(document));
  }
  signature->GetKeyInfo().AppendChild(MakeKeyInfo()->Build(document));
  signature->Compute(*key_.privateKey);

  signature->GetElement().SetAttribute("Id", kProofSignatureId);
  security.AppendChild(signature->GetElement());
  return envelope;
}

XMLBuilderPtr XMLSignedSoapBuilder::MakeKeyInfo() const {
  XMLAttributes attributes = {{"xmlns:wsse", Names::kSecurity}};
  if (tokenId_) {
    attributes.emplace_back("xmlns:wsse11", Names::kSecurity11);
    attributes.emplace_back("wsse11:TokenType", Names::kSamlV2);
  }
  auto reference = std::make_unique<XMLCompositeBuilder>("wsse", "SecurityTokenReference", attributes);
  if (tokenId_) {
    reference->Append<TextElementBuilderImpl>("wsse", "KeyIdentifier", *tokenId_,
                                              XMLAttributes{{"ValueType", Names::kSamlId}});
  } else {
    reference->Append<ElementBuilderImpl>(
        "wsse", "Reference",
        XMLAttributes{{"URI", "#" + std::string(kCertificateId)}, {"ValueType", Names::kX509v3}});
  }
  return reference;
}

}  // namespace SsoClient

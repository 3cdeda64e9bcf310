#include "sso/responseHandler.h"

#include <string_view>
#include <utility>

#include "platform/corvane/stringUtil.h"
#include "platform/corvane/textEscape.h"
#include "platform/corvane/xml/canonicalizer.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/parser.h"
#include "platform/corvane/xml/reader.h"
#include "sso/samlNames.h"
#include "sso/samlToken.h"
#include "sso/soapFault.h"
#include "sso/ssoExceptions.h"
#include "sso/wsTrustNames.h"
#include "sso/xmlText.h"

namespace SsoClient {
namespace {

using Corvane::Xml::Node;
namespace Security = Corvane::Xml::Security;

constexpr char kUnexpectedFormat[] = "Unexpected XML format";

// The body of an answer that is no fault.
Node OpenBody(const std::string& response) {
  Node root;
  try {
    root = Corvane::Xml::ParseText(response)->GetRoot();
  } catch (const Corvane::Xml::XMLParseException& fault) {
    throw SsoException("Response is not well-formed XML: " + fault.GetText());
  }
  Node body;
  if (root.IsElement("Envelope", Names::kSoap)) {
    body = FindOnlyChild(root, "Body", Names::kSoap, "Unexpected response format: more than one Body.");
  }
  if (!body) throw SsoException("Unexpected response format: missing SAOP Body.");
  ThrowFault(body);
  return body;
}

Node FindTrustChild(const Node& parent, std::string_view localName) {
  return FindOnlyChild(parent, localName, Names::kTrust, kUnexpectedFormat);
}

Node GetTrustChild(const Node& parent, std::string_view localName) {
  auto child = FindTrustChild(parent, localName);
  if (!child) throw SsoException(kUnexpectedFormat);
  return child;
}

Node FindAssertion(const Node& requestedToken) {
  return FindOnlyChild(requestedToken, "Assertion", kAssertionNamespace, kUnexpectedFormat);
}

// The inclusive form, as values in the assertion may use declarations from around it.
std::string Canonicalize(const Node& assertion) try {
  const auto writer = Corvane::CreateStringWriter();
  Security::CreateCanonicalizer(Security::CanonicalizationMethod::Inclusive)
      ->Canonicalize(assertion, *writer);
  return writer->GetText();
} catch (const Security::XmlSecurityException& fault) {
  throw SsoException("The assertion has no canonical form: " + fault.GetText());
}

// Line ends and blanks are no part of a value in base 64.
std::string DecodeLeg(std::string text) {
  std::erase_if(text, [](char c) { return kXmlSpace.find(c) != std::string_view::npos; });
  try {
    return Corvane::StringUtil::Base64Decode(text);
  } catch (const Corvane::Base64FormatException&) {
    throw SsoException("Base64 format exception");
  }
}

void CheckTokenType(const Node& answer) {
  const auto element = FindTrustChild(answer, "TokenType");
  const auto type = element ? GetTextOf(element) : std::string();
  if (type == kAssertionNamespace) return;
  throw SsoException("Invalid token type: " + Corvane::Detail::EscapeLine(type) +
                     " (expected: " + kAssertionNamespace);
}

}  // namespace

std::shared_ptr<const SamlToken> ResponseHandlerImpl::ReadAcquiredToken(const std::string& response) {
  return ReadToken(GetTrustChild(OpenBody(response), "RequestSecurityTokenResponseCollection"));
}

std::shared_ptr<const SamlToken> ResponseHandlerImpl::ReadRenewedToken(const std::string& response) {
  return ReadToken(OpenBody(response));
}

bool ResponseHandlerImpl::ReadVerdict(const std::string& response) {
  const auto answer = GetTrustChild(OpenBody(response), "RequestSecurityTokenResponse");
  const auto code = GetTextOf(GetTrustChild(GetTrustChild(answer, "Status"), "Code"));
  if (code != Names::kStatusValid && code != Names::kStatusInvalid) {
    throw SsoException("Unexpected status code: " + Corvane::Detail::EscapeLine(code));
  }
  return code == Names::kStatusValid;
}

NegotiationLeg ResponseHandlerImpl::ReadNegotiationLeg(const std::string& response) {
  const auto body = OpenBody(response);
  const auto collection = FindTrustChild(body, "RequestSecurityTokenResponseCollection");
  const auto answer = GetTrustChild(collection ? collection : body, "RequestSecurityTokenResponse");
  NegotiationLeg result;
  result.contextId = answer.GetAttribute("Context").value_or("");
  if (const auto exchange = FindTrustChild(answer, "BinaryExchange")) {
    result.leg = DecodeLeg(GetTextOf(exchange));
  }
  const auto requested = FindTrustChild(answer, "RequestedSecurityToken");
  if (const auto assertion = requested ? FindAssertion(requested) : Node()) {
    CheckTokenType(answer);
    result.token = ReadAssertion(assertion);
  }
  return result;
}

std::shared_ptr<const SamlToken> ResponseHandlerImpl::ReadToken(const Node& holder) const {
  const auto assertion = FindAssertion(
      GetTrustChild(GetTrustChild(holder, "RequestSecurityTokenResponse"), "RequestedSecurityToken"));
  if (!assertion) throw SsoException(kUnexpectedFormat);
  return ReadAssertion(assertion);
}

std::shared_ptr<const SamlToken> ResponseHandlerImpl::ReadAssertion(const Node& assertion) const {
  return ParseToken(Canonicalize(assertion), keyResolver_, largestToken_);
}

void ResponseHandlerImpl::ReadFault(const std::string& response) {
  OpenBody(response);
}

}  // namespace SsoClient

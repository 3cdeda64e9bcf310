#include "sso/soapFault.h"

#include <algorithm>
#include <array>
#include <string>

#include "platform/corvane/textEscape.h"
#include "platform/corvane/xml/node.h"
#include "sso/qualifiedName.h"
#include "sso/ssoExceptions.h"
#include "sso/wsTrustNames.h"
#include "sso/xmlText.h"

namespace SsoClient {
namespace {

using Corvane::Xml::Node;

// The codes of a service that doesn't accept the caller's credentials.
const std::array<QualifiedName, 3> kRefusals = {{{Names::kTrust, "FailedAuthentication"},
                                                 {Names::kTrust, "InvalidSecurityToken"},
                                                 {Names::kSecurity, "InvalidSecurityToken"}}};

// SOAP 1.1, section 4.4, gives the parts of a fault no namespace; in the answers of some services they have
// the default namespace by mistake.
Node FindPart(const Node& fault, const char* localName) {
  constexpr char kTwice[] = "Invalid SOAP response: a part of the fault is there twice.";
  auto part = FindOnlyChild(fault, localName, "", kTwice);
  return part ? part : FindOnlyChild(fault, localName, Names::kSoap, kTwice);
}

bool IsRefusal(const Node& code) {
  const auto text = GetTextOf(code);
  auto name = ResolveName(code, text);
  if (text.find(':') == std::string::npos) name.namespaceUri = Names::kSoap;
  return std::find(kRefusals.begin(), kRefusals.end(), name) != kRefusals.end();
}

}  // namespace

void ThrowFault(const Node& body) {
  const auto fault =
      FindOnlyChild(body, "Fault", Names::kSoap, "Invalid SOAP response: more than one Fault.");
  if (!fault) return;
  const auto code = FindPart(fault, "faultcode");
  if (!code) throw SsoException("Invalid SOAP response: missing faultcode.");
  const bool isRefusal = IsRefusal(code);
  const auto reasonElement = FindPart(fault, "faultstring");
  // The service's words, which are shown and logged.
  const auto reason = reasonElement ? Corvane::Detail::EscapeLine(GetTextOf(reasonElement)) : std::string();
  if (isRefusal) throw InvalidCredentialsException("Authentication failed: " + reason);
  throw SsoException("Unexpected SOAP fault: " + reason + "; request failed.");
}

}  // namespace SsoClient

#include "platform/corvane/textEscape.h"
#include "platform/corvane/xml/parser.h"
#include "platform/corvane/xml/signature.h"
#include "sso/elementReader.h"
#include "sso/parseToken.h"
#include "sso/qualifiedName.h"
#include "sso/samlNames.h"
#include "sso/ssoExceptions.h"

namespace SsoClient {
namespace {

using Corvane::Detail::EscapeLine;
using Corvane::Xml::Node;
using Corvane::Xml::Security::kSignatureNamespace;

const AttributeName kType("type", kSchemaInstanceNamespace);

Node TakeSaml(Children& children, std::string_view localName) {
  return children.Take(localName, kAssertionNamespace);
}

// A child whose only content is its own children.
Children Enter(const Node& element) {
  CheckAttributes(element, {});
  return Children(element);
}

Subject ReadNameId(const Node& element) {
  CheckAttributes(element, {"Format"});
  const std::string value = ReadText(element);
  const std::string format = ReadAttribute(element, "Format");
  if (format != kUpnClaim) {
    throw ParseException("Invalid or unsupported NameId format '" + EscapeLine(format) + "'");
  }
  const std::size_t at = value.rfind('@');
  if (at == std::string::npos || at == 0 || at + 1 == value.size()) {
    throw ParseException("Failed to parse the UPN NameID: `" + EscapeLine(value) +
                         "'; name or domain part is missing.");
  }
  return {value.substr(0, at), value.substr(at + 1)};
}

// The type that xsi:type gives an element; nothing without one.
std::optional<QualifiedName> ReadType(const Node& element) {
  const auto text = element.GetAttribute(kType.localName, kType.namespaceUri);
  return text ? std::optional(ResolveName(element, *text)) : std::nullopt;
}

void ReadBearerData(const Node& element, TokenData& token) {
  CheckAttributes(element, {"NotOnOrAfter"});
  token.subjectNotOnOrAfter = ReadDate(element, "NotOnOrAfter");
  CheckEmpty(element);
}

void ReadHolderOfKeyData(const Node& element, TokenData& token) {
  CheckAttributes(element, {}, {kType});
  const auto type = ReadType(element);
  if (type && *type != QualifiedName{kAssertionNamespace, "KeyInfoConfirmationDataType"}) {
    throw ParseException("Invalid SubjectConfirmationData type: '" +
                         EscapeLine(*element.GetAttribute(kType.localName, kType.namespaceUri)));
  }
  Children data(element);
  Children keyInfo = Enter(data.Take("KeyInfo", kSignatureNamespace));
  Children x509Data = Enter(keyInfo.Take("X509Data", kSignatureNamespace));
  token.confirmationCertificate = ReadText(x509Data.Take("X509Certificate", kSignatureNamespace));
  x509Data.CheckEnd("Unexpected elements after X509Certificate");
  keyInfo.CheckEnd("Unexpected elements after X509Data");
  data.CheckEnd("Unexpected elements after SubjectConfirmationData/KeyInfo");
}

void ReadSubjectConfirmation(const Node& element, TokenData& token) {
  CheckAttributes(element, {"Method"});
  const std::string method = ReadAttribute(element, "Method");
  if (method != kBearerMethod && method != kHolderOfKeyMethod) {
    throw ParseException("Unknown subject confirmation method: '" + EscapeLine(method));
  }
  token.confirmationType = method == kBearerMethod ? ConfirmationType::Bearer : ConfirmationType::HolderOfKey;
  Children children(element);
  if (children.IsNext("NameID")) token.delegateId = ReadNameId(TakeSaml(children, "NameID"));
  const Node data = TakeSaml(children, "SubjectConfirmationData");
  if (token.confirmationType == ConfirmationType::Bearer) {
    ReadBearerData(data, token);
  } else {
    ReadHolderOfKeyData(data, token);
  }
  children.CheckEnd("Unexpected elements after SubjectConfirmationData");
}

void ReadSubject(const Node& element, TokenData& token) {
  Children children = Enter(element);
  token.subject = ReadNameId(TakeSaml(children, "NameID"));
  ReadSubjectConfirmation(TakeSaml(children, "SubjectConfirmation"), token);
  children.CheckEnd("Unexpected elements after SubjectConfirmation");
}

void ReadSignature(const Node& element, TokenData& token) {
  if (!element || !element.IsElement("Signature", kSignatureNamespace)) {
    throw ParseException("Expected element ds:Signature not found");
  }
  try {
    token.signature = Corvane::Xml::Security::CreateSignatureFromDom(element);
  } catch (const Corvane::Xml::Security::XmlSecurityException& fault) {
    throw ParseException("Signature syntax error: " + fault.GetText());
  }
  // An ID whose value occurs twice isn't registered, so that the signature's reference finds nothing.
  element.GetDocument()->MarkIdentifier(element.GetParent(), "ID");
  for (const auto& reference : token.signature->GetReferences()) {
    if (reference.uri.empty() || reference.uri == "#" + token.id) return;
  }
  throw ParseException("Token's signature must cover the entire token");
}

// Each kind of condition may occur once, in any order.
class ConditionsReader {
 public:
  explicit ConditionsReader(TokenData& token) : token_(token) {}

  void Read(const Node& element) {
    CheckAttributes(element, {"NotBefore", "NotOnOrAfter"});
    token_.notBefore = ReadDate(element, "NotBefore");
    token_.notOnOrAfter = ReadDate(element, "NotOnOrAfter");
    for (Children children(element); !children.AtEnd();) ReadCondition(children.TakeAny());
  }

 private:
  void ReadCondition(const Node& node) {
    if (IsConditionOf(node, {kDelegationNamespace, "DelegationRestrictionType"}) && First(hasDelegation_)) {
      ReadDelegation(node);
    } else if (node.IsElement("AudienceRestriction", kAssertionNamespace) && First(hasAudience_)) {
      ReadAudience(node);
    } else if (node.IsElement("ProxyRestriction", kAssertionNamespace) && !token_.proxyRestrictionCount) {
      CheckAttributes(node, {"Count"});
      token_.proxyRestrictionCount = ReadCount(node, "Count");
      CheckEmpty(node);
    } else if (IsConditionOf(node, {kAdviceNamespace, "RenewRestrictionType"}) && !token_.renewRestriction) {
      CheckAttributes(node, {"Count", "Postdatable", "RenewExpired", kType});
      token_.renewRestriction = {ReadCount(node, "Count"), ReadBoolean(node, "Postdatable"),
                                 ReadBoolean(node, "RenewExpired")};
      CheckEmpty(node);
    } else {
      throw ParseException("Unknown or duplicate restriction node under Conditions");
    }
  }

  static bool IsConditionOf(const Node& node, const QualifiedName& type) {
    return node.IsElement("Condition", kAssertionNamespace) && ReadType(node) == type;
  }

  static bool First(bool& seen) {
    const bool isFirst = !seen;
    seen = true;
    return isFirst;
  }

  // At least one delegate and one audience: an empty restriction would read like none.
  void ReadDelegation(const Node& element) {
    CheckAttributes(element, {kType});
    Children children(element);
    do {
      const Node entry = children.Take("Delegate", kDelegationNamespace);
      CheckAttributes(entry, {"DelegationInstant"});
      Children content(entry);
      const Subject subject = ReadNameId(TakeSaml(content, "NameID"));
      content.CheckEnd("Unexpected elements after NameID");
      token_.delegationChain.push_back({subject, ReadDate(entry, "DelegationInstant")});
    } while (!children.AtEnd());
  }

  void ReadAudience(const Node& element) {
    Children children = Enter(element);
    do {
      token_.audienceRestriction.insert(ReadText(TakeSaml(children, "Audience")));
    } while (!children.AtEnd());
  }

  TokenData& token_;
  bool hasDelegation_ = false;
  bool hasAudience_ = false;
};

Attribute ReadAttributeElement(const Node& element) {
  CheckAttributes(element, {"Name"}, {"NameFormat", "FriendlyName"});
  Attribute attribute{ReadAttribute(element, "Name"),
                      {},
                      ReadAttribute(element, "NameFormat"),
                      ReadAttribute(element, "FriendlyName")};
  for (Children children(element); !children.AtEnd();) {
    attribute.values.push_back(ReadText(TakeSaml(children, "AttributeValue")));
  }
  return attribute;
}

void ReadAdvice(const Node& element, TokenData& token) {
  for (Children children = Enter(element); !children.AtEnd();) {
    const Node entry = children.Take("RSAAdvice", kAdviceNamespace);
    CheckAttributes(entry, {"AdviceSource"});
    Advice advice{ReadAttribute(entry, "AdviceSource"), {}};
    for (Children attributes(entry); !attributes.AtEnd();) {
      advice.attributes.push_back(ReadAttributeElement(TakeSaml(attributes, "Attribute")));
    }
    token.advice.push_back(std::move(advice));
  }
}

void ReadAuthnStatement(const Node& element, TokenData& token) {
  CheckAttributes(element, {"AuthnInstant"});
  token.authenticationInstant = ReadDate(element, "AuthnInstant");
  Children children(element);
  Children context = Enter(TakeSaml(children, "AuthnContext"));
  token.authenticationContextClass = ReadText(TakeSaml(context, "AuthnContextClassRef"));
  context.CheckEnd("Unexpected elements after AuthnContextClassRef");
  children.CheckEnd("Unexpected elements after AuthnContext");
}

GroupIdentity ReadGroup(const std::string& value) {
  const std::size_t slash = value.find('\\');
  if (slash == std::string::npos || slash == 0 || slash + 1 == value.size()) {
    throw ParseException("Failed to parse Group Identity value: `" + EscapeLine(value) +
                         "'; domain or group missing");
  }
  return {value.substr(slash + 1), value.substr(0, slash)};
}

bool ReadIsSolution(const std::vector<std::string>& values) {
  if (values.empty()) throw ParseException("No value found for attribute isSolution.");
  if (values.size() > 1) throw ParseException("More than one value found for attribute isSolution.");
  return values.front() == "true";
}

void ReadAttributeStatement(const Node& element, TokenData& token) {
  for (Children children = Enter(element); !children.AtEnd();) {
    Attribute attribute = ReadAttributeElement(TakeSaml(children, "Attribute"));
    const std::string name = attribute.name;
    if (!token.attributes.emplace(name, std::move(attribute)).second) {
      throw ParseException("Duplicate attribute '" + EscapeLine(name) + "'");
    }
  }
  if (const auto groups = token.attributes.find(kGroupAttribute); groups != token.attributes.end()) {
    for (const std::string& value : groups->second.values) token.groups.push_back(ReadGroup(value));
  }
  const auto solution = token.attributes.find(kSolutionAttribute);
  token.isSolution = solution != token.attributes.end() && ReadIsSolution(solution->second.values);
}

void ReadAssertion(const Node& assertion, TokenData& token) {
  CheckElement(assertion, "Assertion", kAssertionNamespace);
  CheckAttributes(assertion, {"Version", "ID", "IssueInstant"});
  token.version = ReadAttribute(assertion, "Version");
  token.id = ReadAttribute(assertion, "ID");
  token.issueInstant = ReadDate(assertion, "IssueInstant");
  Children children(assertion);
  token.issuer = ReadText(TakeSaml(children, "Issuer"));
  ReadSignature(children.Current(), token);
  children.TakeAny();
  ReadSubject(TakeSaml(children, "Subject"), token);
  ConditionsReader(token).Read(TakeSaml(children, "Conditions"));
  if (children.IsNext("Advice")) ReadAdvice(TakeSaml(children, "Advice"), token);
  ReadAuthnStatement(TakeSaml(children, "AuthnStatement"), token);
  if (!children.AtEnd()) ReadAttributeStatement(TakeSaml(children, "AttributeStatement"), token);
  children.CheckEnd("Unexpected elements under Assertion");
}

Corvane::Ref<Corvane::Xml::Document> ParseDocument(std::string_view text, std::size_t largest) try {
  const auto handler = Corvane::Xml::CreateXMLDocumentHandler();
  Corvane::Xml::CreateXMLParser(handler)->Parse(Corvane::Xml::CreateStringReader(std::string(text)), largest);
  return handler->GetDocument();
} catch (const Corvane::Xml::XMLParseException& fault) {
  throw ParseException("Token is not well-formed XML: " + fault.GetText());
}

}  // namespace

std::shared_ptr<const SamlToken> ParseAssertion(std::string_view text, std::size_t largest) {
  const auto document = ParseDocument(text, largest);
  TokenData token;
  token.text = text;
  ReadAssertion(document->GetRoot(), token);
  return std::make_shared<const SamlToken>(std::move(token));
}

}  // namespace SsoClient

#pragma once

#include <string>
#include <string_view>

#include "platform/corvane/xml/node.h"

namespace SsoClient {

// What a text such as "saml:Assertion" means. The namespace is empty for a name without a prefix where no
// default namespace is declared.
struct QualifiedName {
  std::string namespaceUri;
  std::string localName;

  bool operator==(const QualifiedName&) const = default;
};

// Reads a qualified name that is in an element, by the declarations in scope there. Throws ParseException
// for a prefix that none of them declares.
QualifiedName ResolveName(const Corvane::Xml::Node& element, std::string_view text);

}  // namespace SsoClient

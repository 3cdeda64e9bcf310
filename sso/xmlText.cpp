#include "sso/xmlText.h"

#include "sso/ssoExceptions.h"

namespace SsoClient {

using Corvane::Xml::Node;
using Corvane::Xml::NodeType;

Node FindOnlyChild(const Node& parent, std::string_view localName, std::string_view namespaceUri,
                   const char* faultOfTwo) {
  Node found;
  for (auto child = parent.GetFirstChild(); child; child = child.GetNextSibling()) {
    if (!child.IsElement(localName, namespaceUri)) continue;
    if (found) throw SsoException(faultOfTwo);
    found = child;
  }
  return found;
}

std::string GetTextOf(const Node& element) {
  std::string text;
  for (auto child = element.GetFirstChild(); child; child = child.GetNextSibling()) {
    if (child.IsElement()) throw SsoException("Unexpected XML format");
    if (child.GetType() == NodeType::Text || child.GetType() == NodeType::CData) text += child.GetText();
  }
  const auto begin = text.find_first_not_of(kXmlSpace);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(kXmlSpace) - begin + 1);
}

}  // namespace SsoClient

#include "sso/qualifiedName.h"

#include "platform/corvane/textEscape.h"
#include "sso/ssoExceptions.h"

namespace SsoClient {

QualifiedName ResolveName(const Corvane::Xml::Node& element, std::string_view text) {
  const auto colon = text.find(':');
  const auto prefix = colon == std::string_view::npos ? std::string_view() : text.substr(0, colon);
  const auto localName = colon == std::string_view::npos ? text : text.substr(colon + 1);
  const auto namespaceUri = element.ResolvePrefix(prefix);
  if (!namespaceUri && colon != std::string_view::npos) {
    throw ParseException("Element " + element.GetQualifiedName() + "at " + element.GetPlace() +
                         " uses undefined prefix: `" + Corvane::Detail::EscapeLine(prefix) + "'");
  }
  return {namespaceUri.value_or(""), std::string(localName)};
}

}  // namespace SsoClient

#include "sso/xmlBuilder.h"

#include <libxml/parserInternals.h>

#include <string_view>

#include "platform/corvane/exception.h"
#include "platform/corvane/xml/document.h"
#include "platform/corvane/xml/node.h"

namespace SsoClient {
namespace {

using Corvane::Ref;
using Corvane::Xml::Document;
using Corvane::Xml::Node;

int Utf8Length(int character) {
  if (character < 0x80) return 1;
  if (character < 0x800) return 2;
  return character < 0x10000 ? 3 : 4;
}

// XML 1.0, section 2.2: characters that not even an escape can write.
bool CanBeCarried(std::string_view text) {
  while (!text.empty()) {
    int length = static_cast<int>(std::min<std::size_t>(text.size(), 4));
    const int character = xmlGetUTF8Char(reinterpret_cast<const unsigned char*>(text.data()), &length);
    if (character < 0 || !IS_CHAR(character) || length != Utf8Length(character)) return false;
    text.remove_prefix(static_cast<std::size_t>(length));
  }
  return true;
}

// The message leaves out the text itself, which may be a password.
void Check(const std::string& place, std::string_view text) {
  if (CanBeCarried(text)) return;
  throw Corvane::InvalidArgumentException("The text of " + place +
                                          " has bytes or characters that XML can't carry");
}

}  // namespace

ElementBuilderImpl::ElementBuilderImpl(const std::string& prefix, const std::string& localName,
                                       const XMLAttributes& attributes)
    : qualifiedName_(prefix + ":" + localName) {
  for (const auto& [name, value] : attributes) AddAttribute(name, value);
}

void ElementBuilderImpl::AddAttribute(std::string qualifiedName, std::string value) {
  Check(qualifiedName, value);
  attributes_.emplace_back(std::move(qualifiedName), std::move(value));
}

Node ElementBuilderImpl::Build(const Ref<Document>& document) const {
  auto element = Corvane::Xml::CreateElementNode(document, qualifiedName_);
  for (const auto& [name, value] : attributes_) element.SetAttribute(name, value);
  return element;
}

TextElementBuilderImpl::TextElementBuilderImpl(const std::string& prefix, const std::string& localName,
                                               std::string text, const XMLAttributes& attributes)
    : ElementBuilderImpl(prefix, localName, attributes), text_(std::move(text)) {
  Check(GetQualifiedName(), text_.text());
}

Node TextElementBuilderImpl::Build(const Ref<Document>& document) const {
  auto element = ElementBuilderImpl::Build(document);
  element.AppendChild(Corvane::Xml::CreateTextNode(document, text_.text()));
  return element;
}

Node XMLCompositeBuilder::Build(const Ref<Document>& document) const {
  auto element = ElementBuilderImpl::Build(document);
  for (const auto& child : children_) element.AppendChild(child->Build(document));
  return element;
}

Node PreBuiltElementImpl::Build(const Ref<Document>& document) const {
  return Corvane::Xml::CreateElementFromText(document, text_);
}

}  // namespace SsoClient

#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/corvane/object.h"
#include "platform/corvane/xml/document.h"
#include "platform/corvane/xml/reader.h"
#include "platform/corvane/xml/xmlException.h"

namespace Corvane::Xml {

// What is parsed at all, beside the bounds of markupScan.h. Texts come from strangers, and each of these
// bounds something whose cost would otherwise grow with the square of the text.
inline constexpr std::size_t kLargestText = 1 << 20;
inline constexpr int kDeepestElement = 64;
inline constexpr int kMostNamespaces = 4096;       // declarations in all
inline constexpr int kMostNamespacesInScope = 64;  // of an element's own and of those around it

// Takes the tree of a parsed text.
class XMLDocumentHandler final : public ObjectImpl {
 public:
  // Null before a text has been parsed.
  const Ref<Document>& GetDocument() const { return document_; }
  void SetDocument(Ref<Document> document) { document_ = std::move(document); }

 private:
  Ref<Document> document_;
};

// Parses one text at a time into its handler. A document type declaration is refused, so that there are no
// entities but the five of XML; nothing is ever loaded from anywhere.
class XMLParser final : public ObjectImpl {
 public:
  explicit XMLParser(Ref<XMLDocumentHandler> handler) : handler_(std::move(handler)) {}
  // Throws XMLParseException; the handler is then as it was.
  void Parse(const Ref<Reader>& reader, std::size_t largest = kLargestText);

 private:
  Ref<XMLDocumentHandler> handler_;
};

Ref<XMLDocumentHandler> CreateXMLDocumentHandler();
Ref<XMLParser> CreateXMLParser(Ref<XMLDocumentHandler> handler);

// The three of them in one: the tree of a text. Throws XMLParseException.
Ref<Document> ParseText(std::string_view text, std::size_t largest = kLargestText);

}  // namespace Corvane::Xml

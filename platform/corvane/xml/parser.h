#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/corvane/object.h"
#include "platform/corvane/xml/document.h"
#include "platform/corvane/xml/reader.h"
#include "platform/corvane/xml/xmlException.h"

namespace Corvane::Xml {

// What is parsed at all. Texts come from strangers.
inline constexpr size_t kLargestText = 1 << 20;
inline constexpr int kDeepestElement = 64;
inline constexpr int kMostElements = 20'000;
inline constexpr int kMostAttributesOfElement = 64;  // namespace declarations included

// Takes the tree of a parsed text.
class XMLDocumentHandler : public ObjectImpl {
 public:
  // Null before a text has been parsed.
  const Ref<Document>& GetDocument() const { return document_; }
  void SetDocument(Ref<Document> document) { document_ = std::move(document); }

 private:
  Ref<Document> document_;
};

// Parses one text at a time into its handler. A document type declaration is refused, so that there are no
// entities but the five of XML; nothing is ever loaded from anywhere.
class XMLParser : public ObjectImpl {
 public:
  explicit XMLParser(Ref<XMLDocumentHandler> handler) : handler_(std::move(handler)) {}
  // Throws XMLParseException; the handler is then as it was.
  void Parse(const Ref<Reader>& reader);

 private:
  Ref<XMLDocumentHandler> handler_;
};

Ref<XMLDocumentHandler> CreateXMLDocumentHandler();
Ref<XMLParser> CreateXMLParser(Ref<XMLDocumentHandler> handler);

// The three of them in one: the tree of a text. Throws XMLParseException.
Ref<Document> ParseText(std::string_view text);

}  // namespace Corvane::Xml

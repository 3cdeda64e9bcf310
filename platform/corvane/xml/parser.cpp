#include "platform/corvane/xml/parser.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/valid.h>

#include <memory>
#include <new>
#include <string>

#include "platform/corvane/format.h"
#include "platform/corvane/xml/library.h"

namespace Corvane::Xml {
namespace {

// What has been seen of a text so far. A fault of our own stops the parser; the first one counts.
struct Progress {
  int depth = 0;
  int elements = 0;
  const char* fault = nullptr;
};

void Stop(xmlParserCtxtPtr parser, const char* fault) {
  auto* progress = static_cast<Progress*>(parser->_private);
  if (progress->fault == nullptr) {
    progress->fault = fault;
    xmlStopParser(parser);
  }
}

void RefuseDocumentType(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
  Stop(static_cast<xmlParserCtxtPtr>(context), "a document type is not accepted");
}

void StartElement(void* context, const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri,
                  int namespaces, const xmlChar** declarations, int attributes, int defaulted,
                  const xmlChar** values) {
  auto* parser = static_cast<xmlParserCtxtPtr>(context);
  auto* progress = static_cast<Progress*>(parser->_private);
  if (++progress->depth > kDeepestElement) {
    Stop(parser, "elements are nested too deeply");
  } else if (++progress->elements > kMostElements) {
    Stop(parser, "too many elements");
  } else if (namespaces + attributes > kMostAttributesOfElement) {
    Stop(parser, "too many attributes in an element");
  } else {
    xmlSAX2StartElementNs(context, localName, prefix, uri, namespaces, declarations, attributes, defaulted,
                          values);
  }
}

void EndElement(void* context, const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri) {
  --static_cast<Progress*>(static_cast<xmlParserCtxtPtr>(context)->_private)->depth;
  xmlSAX2EndElementNs(context, localName, prefix, uri);
}

[[noreturn]] void Fail(int line, int column, std::string_view reason) {
  throw XMLParseException(Corvane::Detail::ASPrintInternal("line %1, column %2: %3", line, column, reason));
}

// Other encodings show their nature in the first bytes or by zero bytes; the parser would follow them.
bool LooksLikeUtf8(std::string_view text) {
  return text.find('\0') == std::string_view::npos &&
         (text.empty() || std::string_view("< \t\r\n\xef").find(text.front()) != std::string_view::npos);
}

struct FreeParser {
  void operator()(xmlParserCtxtPtr parser) const { xmlFreeParserCtxt(parser); }
};

}  // namespace

Ref<Document> ParseText(std::string_view text) {
  if (text.size() > kLargestText) {
    Fail(1, 1, Corvane::Detail::ASPrintInternal("the text is larger than %1 bytes", kLargestText));
  }
  if (!LooksLikeUtf8(text)) {
    Fail(1, 1, "the text is no XML in UTF-8");
  }
  const Detail::ErrorCapture complaints;
  Progress progress;
  const std::unique_ptr<xmlParserCtxt, FreeParser> parser(xmlNewParserCtxt());
  if (parser == nullptr) {
    throw std::bad_alloc();
  }
  parser->_private = &progress;
  parser->sax->internalSubset = &RefuseDocumentType;
  parser->sax->startElementNs = &StartElement;
  parser->sax->endElementNs = &EndElement;
  xmlDoc* tree =
      xmlCtxtReadMemory(parser.get(), text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_IGNORE_ENC);
  Ref<Document> document = tree != nullptr ? MakeRef<Document>(tree) : nullptr;
  if (progress.fault != nullptr) {
    Fail(xmlSAX2GetLineNumber(parser.get()), xmlSAX2GetColumnNumber(parser.get()), progress.fault);
  }
  // An undeclared prefix leaves the text well-formed for the library.
  if (document == nullptr || parser->nsWellFormed == 0) {
    Fail(parser->lastError.line, parser->lastError.int2, complaints.GetText());
  }
  // An identifier is what somebody marks as one, not what calls itself xml:id.
  if (tree->ids != nullptr) {
    xmlFreeIDTable(static_cast<xmlIDTablePtr>(tree->ids));
    tree->ids = nullptr;
  }
  return document;
}

void XMLParser::Parse(const Ref<Reader>& reader) {
  handler_->SetDocument(ParseText(reader->GetText()));
}

Ref<XMLDocumentHandler> CreateXMLDocumentHandler() {
  return MakeRef<XMLDocumentHandler>();
}

Ref<XMLParser> CreateXMLParser(Ref<XMLDocumentHandler> handler) {
  return MakeRef<XMLParser>(std::move(handler));
}

}  // namespace Corvane::Xml

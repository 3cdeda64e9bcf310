#include "platform/corvane/xml/parser.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "platform/corvane/format.h"
#include "platform/corvane/textEscape.h"
#include "platform/corvane/xml/library.h"
#include "platform/corvane/xml/markupScan.h"

namespace Corvane::Xml {
namespace {

// What has been seen of a text so far. The first fault counts, whether the library found it or we did.
struct Progress {
  std::vector<int> declared;  // namespaces, by each element that is open
  int inScope = 0;
  int namespaces = 0;
  std::string fault;
  int line = 1;
  int column = 1;
};

Progress& ProgressOf(void* context) {
  return *static_cast<Progress*>(static_cast<xmlParserCtxtPtr>(context)->_private);
}

void Stop(void* context, std::string fault, int line, int column) {
  Progress& progress = ProgressOf(context);
  if (!progress.fault.empty()) return;
  progress.fault = std::move(fault);
  progress.line = line;
  progress.column = column;
  // The library would go on to look for further faults, with no call to ask for the bounds in. This is what
  // xmlStopParser does but for the buffers, which the library may be in the middle of.
  auto* parser = static_cast<xmlParserCtxtPtr>(context);
  parser->instate = XML_PARSER_EOF;
  parser->disableSAX = 1;
}

void Refuse(void* context, const char* fault) {
  Stop(context, fault, xmlSAX2GetLineNumber(context), xmlSAX2GetColumnNumber(context));
}

void TakeComplaint(void* context, xmlErrorPtr error) {
  if (error->level >= XML_ERR_ERROR) {
    const std::string_view text =
        error->message != nullptr ? std::string_view(error->message) : std::string_view("unknown fault");
    Stop(context, Corvane::Detail::EscapeLine(text.substr(0, text.find_last_not_of(" \n") + 1)), error->line,
         error->int2);
  }
}

void RefuseDocumentType(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
  Refuse(context, "a document type is not accepted");
}

void StartElement(void* context, const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri,
                  int namespaces, const xmlChar** declarations, int attributes, int defaulted,
                  const xmlChar** values) {
  Progress& progress = ProgressOf(context);
  progress.declared.push_back(namespaces);
  progress.inScope += namespaces;
  progress.namespaces += namespaces;
  if (progress.declared.size() > kDeepestElement) {
    Refuse(context, "elements are nested too deeply");
  } else if (progress.inScope > kMostNamespacesInScope || progress.namespaces > kMostNamespaces) {
    Refuse(context, "too many namespace declarations");
  } else {
    xmlSAX2StartElementNs(context, localName, prefix, uri, namespaces, declarations, attributes, defaulted,
                          values);
  }
}

void EndElement(void* context, const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri) {
  Progress& progress = ProgressOf(context);
  progress.inScope -= progress.declared.back();
  progress.declared.pop_back();
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

void RequireBounded(std::string_view text, std::size_t largest) {
  if (text.size() > largest) {
    Fail(1, 1, Corvane::Detail::ASPrintInternal("the text is larger than %1 bytes", largest));
  }
  if (!LooksLikeUtf8(text)) Fail(1, 1, "the text is no XML in UTF-8");
  if (const auto flood = FindMarkupFlood(text)) {
    const std::string_view before = text.substr(0, flood->offset);
    const std::size_t lineStart = before.rfind('\n') + 1;
    Fail(1 + static_cast<int>(std::count(before.begin(), before.end(), '\n')),
         1 + static_cast<int>(before.size() - lineStart), flood->reason);
  }
}

struct FreeParser {
  void operator()(xmlParserCtxtPtr parser) const { xmlFreeParserCtxt(parser); }
};
using ParserPtr = std::unique_ptr<xmlParserCtxt, FreeParser>;

ParserPtr MakeParser(Progress& progress) {
  ParserPtr parser(xmlNewParserCtxt());
  if (parser == nullptr) throw std::bad_alloc();
  parser->_private = &progress;
  parser->sax->internalSubset = &RefuseDocumentType;
  parser->sax->startElementNs = &StartElement;
  parser->sax->endElementNs = &EndElement;
  parser->sax->serror = &TakeComplaint;
  return parser;
}

}  // namespace

Ref<Document> ParseText(std::string_view text, std::size_t largest) {
  RequireBounded(text, largest);
  Detail::EnsureInitialized();
  Progress progress;
  const ParserPtr parser = MakeParser(progress);
  xmlDoc* tree =
      xmlCtxtReadMemory(parser.get(), text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_IGNORE_ENC);
  Ref<Document> document = tree != nullptr ? MakeRef<Document>(tree) : nullptr;
  if (document == nullptr || !progress.fault.empty()) {
    Fail(progress.line, progress.column, progress.fault.empty() ? "unknown fault" : progress.fault);
  }
  return document;
}

void XMLParser::Parse(const Ref<Reader>& reader, std::size_t largest) {
  handler_->SetDocument(ParseText(reader->GetText(), largest));
}

Ref<XMLDocumentHandler> CreateXMLDocumentHandler() {
  return MakeRef<XMLDocumentHandler>();
}

Ref<XMLParser> CreateXMLParser(Ref<XMLDocumentHandler> handler) {
  return MakeRef<XMLParser>(std::move(handler));
}

}  // namespace Corvane::Xml

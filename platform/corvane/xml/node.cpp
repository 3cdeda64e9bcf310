#include "platform/corvane/xml/node.h"

#include <libxml/parserInternals.h>
#include <libxml/tree.h>

#include <memory>
#include <new>

#include "platform/corvane/exception.h"
#include "platform/corvane/xml/library.h"
#include "platform/corvane/xml/markupScan.h"
#include "platform/corvane/xml/parser.h"
#include "platform/corvane/xml/reader.h"

namespace Corvane::Xml {
namespace {

using Detail::View;
using Detail::Xml;

constexpr std::string_view kWhiteSpace = " \t\r\n";

struct SplitName {
  std::string prefix;
  std::string localName;
};

SplitName Split(std::string_view qualifiedName) {
  const std::size_t colon = qualifiedName.find(':');
  if (colon == std::string_view::npos) return {"", std::string(qualifiedName)};
  return {std::string(qualifiedName.substr(0, colon)), std::string(qualifiedName.substr(colon + 1))};
}

xmlNs* FindNamespace(xmlNode* element, const std::string& prefix) {
  return xmlSearchNs(element->doc, element, prefix.empty() ? nullptr : Xml(prefix.c_str()));
}

// Names that were given with a prefix that nobody had declared keep it in the name, until it is declared.
void ResolveNames(xmlNode* element) {
  if (element->type != XML_ELEMENT_NODE) return;
  if (element->ns == nullptr) {
    const SplitName name = Split(View(element->name));
    if (xmlNs* space = FindNamespace(element, name.prefix)) {
      xmlNodeSetName(element, Xml(name.localName.c_str()));
      xmlSetNs(element, space);
    }
  }
  for (xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next) {
    const SplitName name = Split(View(attribute->name));
    if (attribute->ns == nullptr && !name.prefix.empty()) {
      if (xmlNs* space = FindNamespace(element, name.prefix)) {
        auto* node = reinterpret_cast<xmlNode*>(attribute);
        xmlNodeSetName(node, Xml(name.localName.c_str()));
        xmlSetNs(node, space);
      }
    }
  }
  for (xmlNode* child = element->children; child != nullptr; child = child->next) ResolveNames(child);
}

void DeclareNamespace(xmlNode* element, const std::string& prefix, const std::string& uri) {
  const xmlChar* key = prefix.empty() ? nullptr : Xml(prefix.c_str());
  for (const xmlNs* space = element->nsDef; space != nullptr; space = space->next) {
    if (View(space->prefix) == prefix) {
      if (View(space->href) == uri) return;
      throw InvalidArgumentException("The prefix '" + prefix +
                                     "' is declared already, for another namespace.");
    }
  }
  if (xmlNewNs(element, Xml(uri.c_str()), key) == nullptr) {
    throw InvalidArgumentException("The prefix '" + prefix + "' can't be declared.");
  }
  ResolveNames(element);
}

void RequireNew(const Node& parent, const Node& child) {
  if (child.Get()->parent != nullptr || child.Get()->doc != parent.Get()->doc) {
    throw InvalidArgumentException("A node has one parent, in its own document.");
  }
}

// Puts the texts of pre-built elements in their place for as long as it lives.
class TextsInPlace {
 public:
  explicit TextsInPlace(const std::map<_xmlNode*, std::string>& preBuilt) {
    for (const auto& [element, text] : preBuilt) {
      if (element->parent == nullptr) continue;
      xmlNode* node = xmlNewDocTextLen(element->doc, Xml(text.data()), static_cast<int>(text.size()));
      if (node == nullptr) throw std::bad_alloc();
      node->name = xmlStringTextNoenc;
      xmlReplaceNode(element, node);
      replaced_.emplace_back(element, node);
    }
  }
  TextsInPlace(const TextsInPlace&) = delete;
  TextsInPlace& operator=(const TextsInPlace&) = delete;
  ~TextsInPlace() {
    for (const auto& [element, node] : replaced_) {
      xmlReplaceNode(node, element);
      xmlFreeNode(node);
    }
  }

 private:
  std::vector<std::pair<xmlNode*, xmlNode*>> replaced_;
};

}  // namespace

NodeType Node::GetType() const {
  switch (node_->type) {
    case XML_ELEMENT_NODE:
      return NodeType::Element;
    case XML_TEXT_NODE:
      return NodeType::Text;
    case XML_CDATA_SECTION_NODE:
      return NodeType::CData;
    case XML_COMMENT_NODE:
      return NodeType::Comment;
    case XML_PI_NODE:
      return NodeType::ProcessingInstruction;
    default:
      return NodeType::Other;
  }
}

bool Node::IsElement(std::string_view localName, std::string_view namespaceUri) const {
  return node_ != nullptr && IsElement() && GetLocalName() == localName && GetNamespace() == namespaceUri;
}

std::string_view Node::GetLocalName() const {
  const std::string_view name = View(node_->name);
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

std::string_view Node::GetNamespace() const {
  return IsElement() && node_->ns != nullptr ? View(node_->ns->href) : std::string_view();
}

std::string_view Node::GetPrefix() const {
  if (IsElement() && node_->ns != nullptr) return View(node_->ns->prefix);
  const std::string_view name = View(node_->name);
  return name.substr(0, name.find(':') == std::string_view::npos ? 0 : name.find(':'));
}

std::string Node::GetQualifiedName() const {
  std::string name(GetPrefix());
  if (!name.empty()) name += ':';
  return name.append(GetLocalName());
}

std::string Node::GetPlace() const {
  return "line " + std::to_string(xmlGetLineNo(node_));
}

Node Node::GetParent() const {
  xmlNode* parent = node_->parent;
  return Node(document_, parent != nullptr && parent->type == XML_ELEMENT_NODE ? parent : nullptr);
}

Node Node::GetFirstChild() const {
  return Node(document_, IsElement() ? node_->children : nullptr);
}

Node Node::GetNextSibling() const {
  return Node(document_, node_->next);
}

void Node::Advance() {
  node_ = node_->next;
}

std::string_view Node::GetText() const {
  return IsElement() ? std::string_view() : View(node_->content);
}

std::vector<AttributeName> Node::GetAttributeNames() const {
  std::vector<AttributeName> names;
  for (xmlAttr* attribute = node_->properties; attribute != nullptr; attribute = attribute->next) {
    names.push_back(
        {View(attribute->name), attribute->ns != nullptr ? View(attribute->ns->href) : std::string_view()});
  }
  return names;
}

std::optional<std::string> Node::GetAttribute(std::string_view localName,
                                              std::string_view namespaceUri) const {
  for (xmlAttr* attribute = node_->properties; attribute != nullptr; attribute = attribute->next) {
    const std::string_view space = attribute->ns != nullptr ? View(attribute->ns->href) : std::string_view();
    if (View(attribute->name) == localName && space == namespaceUri) return Detail::ValueOf(*attribute);
  }
  return std::nullopt;
}

std::optional<std::string> Node::ResolvePrefix(std::string_view prefix) const {
  const xmlNs* space = FindNamespace(node_, std::string(prefix));
  return space != nullptr ? std::optional<std::string>(View(space->href)) : std::nullopt;
}

void Node::SetAttribute(std::string_view qualifiedName, std::string_view value) const {
  const SplitName name = Split(qualifiedName);
  const std::string text(value);
  if (qualifiedName == "xmlns") {
    DeclareNamespace(node_, "", text);
  } else if (name.prefix == "xmlns") {
    DeclareNamespace(node_, name.localName, text);
  } else if (xmlSetProp(node_, Xml(std::string(qualifiedName).c_str()), Xml(text.c_str())) == nullptr) {
    throw std::bad_alloc();
  }
}

void Node::AppendChild(const Node& child) const {
  RequireNew(*this, child);
  if (child.GetType() == NodeType::Text && node_->last != nullptr && node_->last->type == XML_TEXT_NODE) {
    // The library would join the two and free the child.
    throw InvalidArgumentException("Two texts can't stand side by side.");
  }
  xmlAddChild(node_, child.node_);
  ResolveNames(child.node_);
}

void Node::PrependChild(const Node& child) const {
  RequireNew(*this, child);
  if (node_->children == nullptr) {
    xmlAddChild(node_, child.node_);
  } else {
    xmlAddPrevSibling(node_->children, child.node_);
  }
  ResolveNames(child.node_);
}

Node CreateElementNode(const Ref<Document>& document, std::string_view qualifiedName) {
  xmlNode* node =
      xmlNewDocNode(document->GetTree(), nullptr, Xml(std::string(qualifiedName).c_str()), nullptr);
  if (node == nullptr) throw std::bad_alloc();
  return Node::Adopt(document, node);
}

Node CreateTextNode(const Ref<Document>& document, std::string_view text) {
  xmlNode* node = xmlNewDocTextLen(document->GetTree(), Xml(text.data()), static_cast<int>(text.size()));
  if (node == nullptr) throw std::bad_alloc();
  return Node::Adopt(document, node);
}

Node CreateElementFromText(const Ref<Document>& document, std::string_view text) {
  const Ref<Document> parsed = ParseText(text);
  xmlNode* copy = xmlDocCopyNode(parsed->GetRoot().Get(), document->GetTree(), 1);
  if (copy == nullptr) throw std::bad_alloc();
  Node element = Node::Adopt(document, copy);
  document->preBuilt_.emplace(copy, FindRootElement(text));
  return element;
}

Node Node::Adopt(const Ref<Document>& document, _xmlNode* node) {
  document->made_.push_back(node);
  return Node(document, node);
}

void WriteNode(const Node& node, Writer& writer) {
  const auto& preBuilt = node.GetDocument()->preBuilt_;
  if (const auto position = preBuilt.find(node.Get()); position != preBuilt.end()) {
    writer.Write(position->second);
    return;
  }
  const TextsInPlace texts(preBuilt);
  const std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer(xmlBufferCreate(), &xmlBufferFree);
  xmlOutputBuffer* output = buffer != nullptr ? xmlOutputBufferCreateBuffer(buffer.get(), nullptr) : nullptr;
  if (output == nullptr) throw std::bad_alloc();
  xmlNodeDumpOutput(output, node.Get()->doc, node.Get(), 0, 0, "UTF-8");
  xmlOutputBufferClose(output);
  writer.Write(View(xmlBufferContent(buffer.get())));
}

bool SkipWsAndCommentsFilter::Accepts(const Node& node) const {
  switch (node.GetType()) {
    case NodeType::Comment:
      return false;
    case NodeType::Text:
      return node.GetText().find_first_not_of(kWhiteSpace) != std::string_view::npos;
    default:
      return true;
  }
}

ChildWalker::ChildWalker(const Node& parent, const NodeFilter& filter)
    : filter_(&filter), current_(parent.GetFirstChild()) {
  SkipUnaccepted();
}

void ChildWalker::Next() {
  current_.Advance();
  SkipUnaccepted();
}

void ChildWalker::SkipUnaccepted() {
  while (current_ && !filter_->Accepts(current_)) current_.Advance();
}

}  // namespace Corvane::Xml

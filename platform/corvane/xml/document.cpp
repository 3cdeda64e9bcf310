#include "platform/corvane/xml/document.h"

#include <libxml/parserInternals.h>
#include <libxml/tree.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "platform/corvane/exception.h"
#include "platform/corvane/xml/library.h"
#include "platform/corvane/xml/node.h"

namespace Corvane::Xml {
namespace {

_xmlDoc* NewTree() {
  Detail::EnsureInitialized();
  _xmlDoc* tree = xmlNewDoc(Detail::Xml("1.0"));
  if (tree == nullptr) throw std::bad_alloc();
  return tree;
}

// Document order, without recursion.
xmlNode* NextElement(xmlNode* node, const xmlNode* root) {
  const auto firstElement = [](xmlNode* candidate) {
    while (candidate != nullptr && candidate->type != XML_ELEMENT_NODE) candidate = candidate->next;
    return candidate;
  };
  if (xmlNode* child = firstElement(node->children)) return child;
  for (; node != root; node = node->parent) {
    if (xmlNode* sibling = firstElement(node->next)) return sibling;
  }
  return nullptr;
}

bool LooksLikeIdentifier(const xmlAttr& attribute) {
  // A pending prefix is part of the name.
  const char* name = reinterpret_cast<const char*>(attribute.name);
  const char* colon = std::strchr(name, ':');
  return strcasecmp(colon != nullptr ? colon + 1 : name, "id") == 0;
}

int CountIdentifiers(xmlNode* root, const std::string& value) {
  int count = 0;
  for (xmlNode* element = root; element != nullptr; element = NextElement(element, root)) {
    for (const xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next) {
      count += LooksLikeIdentifier(*attribute) && Detail::ValueOf(*attribute) == value ? 1 : 0;
    }
  }
  return count;
}

}  // namespace

Document::Document() : Document(NewTree()) {}

Document::Document(_xmlDoc* tree) : tree_(tree) {}

Document::~Document() {
  const auto hangs = [](const xmlNode* node) { return node->parent != nullptr; };
  made_.erase(std::remove_if(made_.begin(), made_.end(), hangs), made_.end());
  std::for_each(made_.begin(), made_.end(), &xmlFreeNode);
  xmlFreeDoc(tree_);
}

Node Document::GetRoot() {
  return Node(this, xmlDocGetRootElement(tree_));
}

void Document::SetRoot(const Node& element) {
  if (xmlDocGetRootElement(tree_) != nullptr || element.Get()->parent != nullptr) {
    throw InvalidStateException("A document has one root element.");
  }
  xmlDocSetRootElement(tree_, element.Get());
}

bool Document::MarkIdentifier(const Node& element, std::string_view localName,
                              std::string_view namespaceUri) {
  const std::optional<std::string> value = element.GetAttribute(localName, namespaceUri);
  // Being a name, it can't be mistaken for anything else in a reference.
  if (!value || xmlValidateNCName(Detail::Xml(value->c_str()), 0) != 0) return false;
  xmlNode* top = element.Get();
  while (top->parent != nullptr && top->parent->type == XML_ELEMENT_NODE) top = top->parent;
  if (CountIdentifiers(top, *value) != 1) return false;
  // Two elements that don't hang together may still have the same.
  return marked_.emplace(*value, element.Get()).first->second == element.Get();
}

Node Document::FindMarked(std::string_view identifier) {
  const auto found = marked_.find(identifier);
  return found != marked_.end() ? Node(this, found->second) : Node();
}

Ref<Document> CreateXMLDocument() {
  return MakeRef<Document>();
}

}  // namespace Corvane::Xml

#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/corvane/object.h"

// Tags of the library.
struct _xmlDoc;   // NOLINT(bugprone-reserved-identifier)
struct _xmlNode;  // NOLINT(bugprone-reserved-identifier)

namespace Corvane {
class Writer;
}

namespace Corvane::Xml {

class Node;

// A tree of nodes. It owns all of its nodes, also those that were made for it and hang nowhere. Reading it
// from several threads is safe as long as nobody changes it.
class Document final : public ObjectImpl {
 public:
  Document();
  // Takes the tree over.
  explicit Document(_xmlDoc* tree);
  ~Document() override;

  // Empty when there is no root element.
  Node GetRoot();
  // Makes an element without a parent the root of a document that has none.
  void SetRoot(const Node& element);

  // Makes the value of an element's attribute the element's identifier, so that references can name it: no
  // other attribute counts for that, whatever its name. Gives false, with nothing done, when the attribute is
  // missing or empty, or when another attribute whose name is "id" in any case and any namespace has the same
  // value: readers could then differ about the element that is meant.
  bool MarkIdentifier(const Node& element, std::string_view localName, std::string_view namespaceUri = {});
  // The element that was marked with this identifier; empty if none was.
  Node FindMarked(std::string_view identifier);

  _xmlDoc* GetTree() const { return tree_; }

 private:
  friend class Node;
  friend Node CreateElementFromText(const Ref<Document>& document, std::string_view text);
  friend void WriteNode(const Node& node, Writer& writer);

  _xmlDoc* tree_;
  std::vector<_xmlNode*> made_;                           // nodes that may have no parent
  std::map<_xmlNode*, std::string> preBuilt_;             // elements with the text that they were made from
  std::map<std::string, _xmlNode*, std::less<>> marked_;  // elements by their identifiers
};

// An empty document, to build a tree in.
Ref<Document> CreateXMLDocument();

}  // namespace Corvane::Xml

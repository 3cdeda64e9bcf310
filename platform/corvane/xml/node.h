#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/corvane/object.h"
#include "platform/corvane/xml/document.h"

namespace Corvane {
class Writer;
}

namespace Corvane::Xml {

enum class NodeType { Element, Text, CData, Comment, ProcessingInstruction, Other };

// The name of an attribute that is no namespace declaration. Its texts live as long as the attribute.
struct AttributeName {
  std::string_view localName;
  std::string_view namespaceUri;  // empty without a prefix
};

// A node of a document, or nothing. A light handle, which keeps the document alive; copies name the same
// node. Views of a node's texts live as long as the node.
class Node {
 public:
  Node() = default;
  Node(Ref<Document> document, _xmlNode* node) : document_(std::move(document)), node_(node) {}
  // A node without a parent, which the document is to free.
  static Node Adopt(const Ref<Document>& document, _xmlNode* node);

  explicit operator bool() const { return node_ != nullptr; }
  bool operator==(const Node& other) const { return node_ == other.node_; }

  NodeType GetType() const;
  bool IsElement() const { return GetType() == NodeType::Element; }
  bool IsElement(std::string_view localName, std::string_view namespaceUri) const;

  // Of an element. The namespace is empty when there is none, or when its prefix is not declared yet.
  std::string_view GetLocalName() const;
  std::string_view GetNamespace() const;
  std::string_view GetPrefix() const;
  // The prefix, a colon and the local name, as the document writes it.
  std::string GetQualifiedName() const;
  // "line N", for messages.
  std::string GetPlace() const;

  Node GetParent() const;
  Node GetFirstChild() const;
  Node GetNextSibling() const;
  // Becomes the next sibling.
  void Advance();

  // The text of a text, CDATA section or comment.
  std::string_view GetText() const;

  std::vector<AttributeName> GetAttributeNames() const;
  std::optional<std::string> GetAttribute(std::string_view localName,
                                          std::string_view namespaceUri = {}) const;

  // The namespace that a prefix stands for here; the empty prefix asks for the default namespace. Nothing
  // when it is not declared.
  std::optional<std::string> ResolvePrefix(std::string_view prefix) const;

  // Sets an attribute, or with the name "xmlns" or "xmlns:..." declares a namespace. A prefix that is not
  // declared in this place yet takes its meaning when the element is under the declaration.
  void SetAttribute(std::string_view qualifiedName, std::string_view value) const;
  // The child must be of the same document and have no parent.
  void AppendChild(const Node& child) const;
  // The same, in front of all children.
  void PrependChild(const Node& child) const;

  const Ref<Document>& GetDocument() const { return document_; }
  _xmlNode* Get() const { return node_; }

 private:
  Ref<Document> document_;
  _xmlNode* node_ = nullptr;
};

// Nodes without a parent, in a document. A name may have a prefix; see SetAttribute.
Node CreateElementNode(const Ref<Document>& document, std::string_view qualifiedName);
Node CreateTextNode(const Ref<Document>& document, std::string_view text);

// A finished element, made from the root of a document's text. WriteNode writes it as it is in that text,
// byte for byte and nothing of what is around it, as long as nothing is changed in it. Throws
// XMLParseException.
Node CreateElementFromText(const Ref<Document>& document, std::string_view text);

// Writes an element and all below it, without an XML declaration and without added white space.
void WriteNode(const Node& node, Writer& writer);

// Decides what a walk over children sees.
class NodeFilter {
 public:
  virtual ~NodeFilter() = default;
  virtual bool Accepts(const Node& node) const = 0;
};

// Sees all children but comments and text that is white space alone, as they don't matter between elements.
class SkipWsAndCommentsFilter final : public NodeFilter {
 public:
  bool Accepts(const Node& node) const override;
};

// Walks over the children of a node that a filter accepts; it doesn't go below them. Requires: the filter
// outlives it.
class ChildWalker {
 public:
  ChildWalker(const Node& parent, const NodeFilter& filter);

  // The child in turn; empty after the last one.
  const Node& Current() const { return current_; }
  void Next();

 private:
  void SkipUnaccepted();

  const NodeFilter* filter_;
  Node current_;
};

}  // namespace Corvane::Xml

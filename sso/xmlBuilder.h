#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/corvane/object.h"
#include "platform/corvane/wipedString.h"

namespace Corvane::Xml {
class Document;
class Node;
}  // namespace Corvane::Xml

namespace SsoClient {

// Builds one node of a request, in a document and without a parent. The constructors of builders with texts
// from a caller throw Corvane::InvalidArgumentException for those that XML can't hold.
class XMLBaseBuilder {
 public:
  XMLBaseBuilder() = default;
  XMLBaseBuilder(const XMLBaseBuilder&) = delete;
  XMLBaseBuilder& operator=(const XMLBaseBuilder&) = delete;
  virtual ~XMLBaseBuilder() = default;

  virtual Corvane::Xml::Node Build(const Corvane::Ref<Corvane::Xml::Document>& document) const = 0;
};

using XMLBuilderPtr = std::unique_ptr<const XMLBaseBuilder>;

// Qualified names and values, in the order in which they are set; namespace declarations among them.
using XMLAttributes = std::vector<std::pair<std::string, std::string>>;

// An element without children.
class ElementBuilderImpl : public XMLBaseBuilder {
 public:
  ElementBuilderImpl(const std::string& prefix, const std::string& localName,
                     const XMLAttributes& attributes = {});

  void AddAttribute(std::string qualifiedName, std::string value);
  Corvane::Xml::Node Build(const Corvane::Ref<Corvane::Xml::Document>& document) const override;

 protected:
  const std::string& GetQualifiedName() const { return qualifiedName_; }

 private:
  const std::string qualifiedName_;
  XMLAttributes attributes_;
};

// An element with one text child. The text is wiped at the end, as it may be a password.
class TextElementBuilderImpl final : public ElementBuilderImpl {
 public:
  TextElementBuilderImpl(const std::string& prefix, const std::string& localName, std::string text,
                         const XMLAttributes& attributes = {});

  Corvane::Xml::Node Build(const Corvane::Ref<Corvane::Xml::Document>& document) const override;

 private:
  const Corvane::WipedString text_;
};

// An element with children, in the order in which they were appended.
class XMLCompositeBuilder : public ElementBuilderImpl {
 public:
  using ElementBuilderImpl::ElementBuilderImpl;

  void Append(XMLBuilderPtr child) { children_.push_back(std::move(child)); }
  template <typename Builder, typename... Args>
  void Append(Args&&... args) {
    Append(std::make_unique<const Builder>(std::forward<Args>(args)...));
  }
  Corvane::Xml::Node Build(const Corvane::Ref<Corvane::Xml::Document>& document) const override;

 private:
  std::vector<XMLBuilderPtr> children_;
};

// A finished element, such as a token, which goes into the request byte for byte.
class PreBuiltElementImpl final : public XMLBaseBuilder {
 public:
  explicit PreBuiltElementImpl(std::string text) : text_(std::move(text)) {}

  // Throws Corvane::Xml::XMLParseException.
  Corvane::Xml::Node Build(const Corvane::Ref<Corvane::Xml::Document>& document) const override;

 private:
  const std::string text_;
};

}  // namespace SsoClient

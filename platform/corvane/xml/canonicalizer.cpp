#include "platform/corvane/xml/canonicalizer.h"

#include <libxml/tree.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/corvane/xml/canonicalOutput.h"
#include "platform/corvane/xml/library.h"
#include "platform/corvane/xml/reader.h"
#include "platform/corvane/xml/xmlException.h"

namespace Corvane::Xml::Security {
namespace {

using Detail::View;

struct Declaration {
  std::string_view prefix;  // empty for the default namespace
  std::string_view uri;
  bool operator==(const Declaration&) const = default;
};

std::string_view PrefixOf(const xmlNs* space) {
  return space != nullptr ? View(space->prefix) : std::string_view();
}

std::string_view UriOf(const xmlNs* space) {
  return space != nullptr ? View(space->href) : std::string_view();
}

const xmlNode* ParentElement(const xmlNode* node) {
  return node->parent != nullptr && node->parent->type == XML_ELEMENT_NODE ? node->parent : nullptr;
}

// RFC 3986, section 3.1.
bool HasScheme(std::string_view uri) {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const std::size_t end =
      uri.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.");
  return end != std::string_view::npos && uri[end] == ':' &&
         kLetters.find(uri.front()) != std::string_view::npos;
}

// Canonical XML 1.0 and Exclusive XML Canonicalization 1.0, both without comments, of one subtree or
// document.
class CanonicalForm {
 public:
  CanonicalForm(CanonicalizationMethod method, const std::vector<std::string>& inclusivePrefixes,
                const xmlNode* omitted, Writer& writer)
      : isExclusive_(method == CanonicalizationMethod::Exclusive),
        inclusivePrefixes_(inclusivePrefixes),
        omitted_(omitted),
        out_(writer) {}

  void WriteApex(const xmlNode& element) {
    std::vector<Declaration> inherited;
    for (const xmlNode* node = ParentElement(&element); node != nullptr; node = ParentElement(node)) {
      AddDeclared(*node, inherited);
    }
    WriteElement(element, inherited, true);
    out_.Flush();
  }

  void WriteDocument(const xmlDoc& document) {
    bool isBehindRoot = false;
    for (const xmlNode* node = document.children; node != nullptr; node = node->next) {
      if (node->type == XML_ELEMENT_NODE) {
        WriteApex(*node);
        isBehindRoot = true;
      } else if (node->type == XML_PI_NODE) {
        out_ << (isBehindRoot ? "\n" : "");
        WriteInstruction(*node);
        out_ << (isBehindRoot ? "" : "\n");
      }
    }
    out_.Flush();
  }

 private:
  // Declarations that count in this form although nothing uses them; the first of a prefix is the nearest.
  void AddDeclared(const xmlNode& element, std::vector<Declaration>& declared) const {
    for (const xmlNs* space = element.nsDef; space != nullptr; space = space->next) {
      const std::string_view prefix = View(space->prefix);
      const auto isSame = [&](const Declaration& one) { return one.prefix == prefix; };
      if (IsInclusive(prefix) && std::none_of(declared.begin(), declared.end(), isSame)) {
        declared.push_back({prefix, View(space->href)});
      }
    }
  }

  bool IsInclusive(std::string_view prefix) const {
    return !isExclusive_ || std::find(inclusivePrefixes_.begin(), inclusivePrefixes_.end(),
                                      prefix.empty() ? "#default" : prefix) != inclusivePrefixes_.end();
  }

  void WriteElement(const xmlNode& element, const std::vector<Declaration>& inherited, bool isApex = false) {
    const std::size_t outside = rendered_.size();
    out_ << '<';
    out_.WriteName(PrefixOf(element.ns), View(element.name));
    WriteDeclarations(element, inherited);
    WriteAttributes(element, isApex);
    out_ << '>';
    for (const xmlNode* child = element.children; child != nullptr; child = child->next) WriteChild(*child);
    out_ << "</";
    out_.WriteName(PrefixOf(element.ns), View(element.name));
    out_ << '>';
    rendered_.resize(outside);
  }

  void WriteChild(const xmlNode& node) {
    if (node.type == XML_ELEMENT_NODE) {
      if (&node != omitted_) WriteElement(node, {});
    } else if (node.type == XML_TEXT_NODE || node.type == XML_CDATA_SECTION_NODE) {
      out_.Write(View(node.content), EscapeInText());
    } else if (node.type == XML_PI_NODE) {
      WriteInstruction(node);
    }
  }

  void WriteInstruction(const xmlNode& node) {
    out_ << "<?" << View(node.name);
    if (node.content != nullptr && *node.content != '\0') {
      out_ << ' ';
      out_.Write(View(node.content), EscapeInInstruction());
    }
    out_ << "?>";
  }

  // The element's own declarations are nearer than the inherited ones.
  void WriteDeclarations(const xmlNode& element, const std::vector<Declaration>& inherited) {
    declarations_.clear();
    AddDeclared(element, declarations_);
    for (const Declaration& one : inherited) {
      const auto isSame = [&](const Declaration& other) { return one.prefix == other.prefix; };
      if (std::none_of(declarations_.begin(), declarations_.end(), isSame)) declarations_.push_back(one);
    }
    if (isExclusive_) AddUsed(element, declarations_);
    std::sort(declarations_.begin(), declarations_.end(),
              [](const Declaration& one, const Declaration& other) { return one.prefix < other.prefix; });
    for (const Declaration& declaration : declarations_) Write(declaration);
  }

  static void AddUsed(const xmlNode& element, std::vector<Declaration>& declarations) {
    declarations.push_back({PrefixOf(element.ns), UriOf(element.ns)});
    for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
      if (attribute->ns != nullptr) declarations.push_back({PrefixOf(attribute->ns), UriOf(attribute->ns)});
    }
  }

  void Write(const Declaration& declaration) {
    const auto isSame = [&](const Declaration& one) { return one.prefix == declaration.prefix; };
    const auto last = std::find_if(rendered_.rbegin(), rendered_.rend(), isSame);
    // Without a declaration there is no default namespace.
    const bool isInForce =
        last != rendered_.rend() ? last->uri == declaration.uri : declaration == Declaration();
    if (isInForce || declaration.prefix == "xml") return;
    if (!declaration.uri.empty() && !HasScheme(declaration.uri)) {
      throw XmlSecurityException("Canonicalization failed: a namespace is relative.");
    }
    out_ << (declaration.prefix.empty() ? " xmlns" : " xmlns:") << declaration.prefix << "=\"";
    out_.Write(declaration.uri, EscapeInAttribute());
    out_ << '"';
    rendered_.push_back(declaration);
  }

  void WriteAttributes(const xmlNode& element, bool isApex) {
    attributes_.clear();
    for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
      attributes_.push_back(attribute);
    }
    if (isApex && !isExclusive_) AddInheritedXmlAttributes(element, attributes_);
    std::sort(attributes_.begin(), attributes_.end(), [](const xmlAttr* one, const xmlAttr* other) {
      return std::pair(UriOf(one->ns), View(one->name)) < std::pair(UriOf(other->ns), View(other->name));
    });
    std::string room;
    for (const xmlAttr* attribute : attributes_) {
      out_ << ' ';
      out_.WriteName(PrefixOf(attribute->ns), View(attribute->name));
      out_ << "=\"";
      out_.Write(Detail::ValueOf(*attribute, room), EscapeInAttribute());
      out_ << '"';
    }
  }

  // What xml:lang and its like say around a subtree, they say in it.
  static void AddInheritedXmlAttributes(const xmlNode& apex, std::vector<const xmlAttr*>& attributes) {
    for (const xmlNode* node = ParentElement(&apex); node != nullptr; node = ParentElement(node)) {
      for (const xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
        const auto isSame = [&](const xmlAttr* one) {
          return PrefixOf(one->ns) == "xml" && View(one->name) == View(attribute->name);
        };
        if (PrefixOf(attribute->ns) == "xml" && std::none_of(attributes.begin(), attributes.end(), isSame)) {
          attributes.push_back(attribute);
        }
      }
    }
  }

  const bool isExclusive_;
  const std::vector<std::string>& inclusivePrefixes_;
  const xmlNode* omitted_;
  std::vector<Declaration> rendered_;  // those in force, from the outermost to the innermost
  // Those of the element that is being written.
  std::vector<Declaration> declarations_;
  std::vector<const xmlAttr*> attributes_;
  CanonicalOutput out_;
};

}  // namespace

void Canonicalizer::Canonicalize(const Node& element, Writer& writer, const Node& omitted) const {
  CanonicalForm(method_, inclusivePrefixes_, omitted.Get(), writer).WriteApex(*element.Get());
}

void Canonicalizer::Canonicalize(const Document& document, Writer& writer, const Node& omitted) const {
  CanonicalForm(method_, inclusivePrefixes_, omitted.Get(), writer).WriteDocument(*document.GetTree());
}

Ref<Canonicalizer> CreateCanonicalizer(CanonicalizationMethod method) {
  return MakeRef<Canonicalizer>(method);
}

}  // namespace Corvane::Xml::Security

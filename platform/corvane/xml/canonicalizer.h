#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/corvane/object.h"
#include "platform/corvane/xml/algorithms.h"
#include "platform/corvane/xml/node.h"

namespace Corvane::Xml::Security {

// Writes an element and all below it in canonical form, with the namespace declarations that are in scope
// there (Inclusive) or used there (Exclusive). Its cost is linear in what is written, which is why it isn't
// the XML library's: that one visits the whole document for a part of it, and all declarations in scope for
// each element. Immutable.
class Canonicalizer final : public ObjectImpl {
 public:
  // Exclusive form treats the prefixes of the list as Inclusive does; "#default" is the default namespace.
  explicit Canonicalizer(CanonicalizationMethod method, std::vector<std::string> inclusivePrefixes = {})
      : method_(method), inclusivePrefixes_(std::move(inclusivePrefixes)) {}

  // Leaves the omitted element out, if it comes to it. Writes in blocks of about a kilobyte. Throws
  // XmlSecurityException for a namespace whose URI is relative, when a part may have been written.
  void Canonicalize(const Node& element, Writer& writer, const Node& omitted = {}) const;
  // The same for the root and the processing instructions around it.
  void Canonicalize(const Document& document, Writer& writer, const Node& omitted = {}) const;

 private:
  CanonicalizationMethod method_;
  std::vector<std::string> inclusivePrefixes_;
};

Ref<Canonicalizer> CreateCanonicalizer(CanonicalizationMethod method);

}  // namespace Corvane::Xml::Security

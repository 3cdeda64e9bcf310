#pragma once

#include "platform/corvane/object.h"
#include "platform/corvane/xml/algorithms.h"
#include "platform/corvane/xml/node.h"

namespace Corvane::Xml::Security {

// Writes an element and all below it in canonical form, with the namespace declarations that are in scope
// there (Inclusive) or used there (Exclusive). The element must hang in its document. Immutable.
class Canonicalizer : public ObjectImpl {
 public:
  explicit Canonicalizer(CanonicalizationMethod method) : method_(method) {}
  // Throws XmlSecurityException.
  void Canonicalize(const Node& element, Writer& writer) const;

 private:
  CanonicalizationMethod method_;
};

Ref<Canonicalizer> CreateCanonicalizer(CanonicalizationMethod method);

}  // namespace Corvane::Xml::Security

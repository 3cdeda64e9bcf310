#include "platform/corvane/xml/canonicalizer.h"

#include <libxml/c14n.h>

#include <memory>
#include <new>

#include "platform/corvane/xml/library.h"
#include "platform/corvane/xml/reader.h"
#include "platform/corvane/xml/xmlException.h"

namespace Corvane::Xml::Security {
namespace {

// For an attribute and a namespace declaration, the parent is their element.
int IsInside(void* root, xmlNode* node, xmlNode* parent) {
  if (node == root) {
    return 1;
  }
  while (parent != nullptr && parent != root) {
    parent = parent->parent;
  }
  return parent != nullptr ? 1 : 0;
}

}  // namespace

void Canonicalizer::Canonicalize(const Node& element, Writer& writer) const {
  const Detail::ErrorCapture complaints;
  const std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer(xmlBufferCreate(), &xmlBufferFree);
  xmlOutputBuffer* output = buffer != nullptr ? xmlOutputBufferCreateBuffer(buffer.get(), nullptr) : nullptr;
  if (output == nullptr) {
    throw std::bad_alloc();
  }
  const int mode = method_ == CanonicalizationMethod::Exclusive ? XML_C14N_EXCLUSIVE_1_0 : XML_C14N_1_0;
  const int written = xmlC14NExecute(element.Get()->doc, &IsInside, element.Get(), mode, nullptr, 0, output);
  xmlOutputBufferClose(output);
  if (written < 0) {
    throw XmlSecurityException("Canonicalization failed: " + complaints.GetText());
  }
  writer.Write(Detail::View(xmlBufferContent(buffer.get())));
}

Ref<Canonicalizer> CreateCanonicalizer(CanonicalizationMethod method) {
  return MakeRef<Canonicalizer>(method);
}

}  // namespace Corvane::Xml::Security

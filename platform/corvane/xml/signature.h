#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/corvane/object.h"
#include "platform/corvane/xml/algorithms.h"
#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/xmlException.h"

namespace Corvane::Xml::Security {

// What a reference of a signature says: a URI, and URIs of algorithms.
struct Reference {
  std::string uri;
  std::vector<std::string> transforms;
  std::string digest;
};

// One ds:Signature element of a document (XML Signature, RFC 3275): read from one, or new and then computed.
// References stay in the document: the URI is empty (the whole document) or "#" and an identifier that was
// marked with Document::MarkIdentifier. A key only ever comes from the caller.
class Signature : public ObjectImpl {
 public:
  static constexpr size_t kMostReferences = 8;
  static constexpr size_t kMostCertificates = 8;

  Signature(const Node& element, std::vector<Reference> references);

  const Node& GetElement() const { return element_; }
  // In the order of the document.
  const std::vector<Reference>& GetReferences() const { return references_; }
  // The X.509 certificates of the key info. Whoever wrote the document put them there: a hint, nothing more.
  // Throws XmlSecurityException when one is broken, and for more than kMostCertificates.
  std::vector<Ref<Certificate>> GetCertificates() const;

  // The following three build a new signature.
  // With enveloped, the signature itself is left out of what is referred to.
  void AddReference(std::string_view uri, DigestMethod digest, CanonicalizationMethod canonicalization,
                    bool enveloped = false);
  // The ds:KeyInfo element, to append to; made at the first call.
  Node GetKeyInfo();
  // Fills in digests and signature value. An element without a parent signs as if it hung in the document, if
  // its canonicalization is exclusive. Throws XmlSecurityException.
  void Compute(const Key& privateKey);

  // Whether all references have their digests and the key made the signature. Throws XmlSecurityException
  // when the signature uses what is not accepted (an algorithm, a transform, a reference that names nothing
  // marked), or when the key is of another kind than the signature's.
  bool Verify(const Key& key) const;

 private:
  Node FindKeyInfo() const;

  Node element_;
  std::vector<Reference> references_;
};

// Reads a ds:Signature element. Throws XmlSecurityException when it is not built as one: SignedInfo (with
// CanonicalizationMethod, SignatureMethod and up to kMostReferences Reference elements), SignatureValue and
// at most one KeyInfo, in this order; Object elements are refused.
Ref<Signature> CreateSignatureFromDom(const Node& element);

// A new signature, whose element has no parent yet.
Ref<Signature> CreateBlankSignature(const Ref<Document>& document, std::string_view prefix,
                                    SignatureMethod method, CanonicalizationMethod canonicalization);

}  // namespace Corvane::Xml::Security

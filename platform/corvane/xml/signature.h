#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/corvane/object.h"
#include "platform/corvane/xml/algorithms.h"
#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/xmlException.h"

namespace Corvane::Xml::Security {

// The URI of an algorithm, and of exclusive canonicalization the prefixes that it treats as inclusive does.
struct Transform {
  std::string algorithm;
  std::vector<std::string> inclusivePrefixes;
};

// What a reference of a signature says: a URI, algorithms, and the digest in base 64.
struct Reference {
  std::string uri;
  std::vector<Transform> transforms;
  std::string digest;
  std::string digestValue;

  // Whether it leaves out the signature itself.
  bool IsEnveloped() const;
};

// What a ds:Signature element says.
struct SignatureShape {
  Transform canonicalization;
  std::string method;
  std::vector<Reference> references;  // in the order of the document
  std::string value;                  // in base 64
};

// One ds:Signature element of a document (XML Signature, RFC 3275): read from one, or new and then computed.
// References stay in the document: the URI is empty (the whole document) or "#" and an identifier that was
// marked with Document::MarkIdentifier. A key only ever comes from the caller.
class Signature final : public ObjectImpl {
 public:
  static constexpr std::size_t kMostReferences = 8;
  static constexpr std::size_t kMostCertificates = 8;

  Signature(const Node& element, SignatureShape shape);

  const Node& GetElement() const { return element_; }
  const std::vector<Reference>& GetReferences() const { return shape_.references; }
  // The X.509 certificates of the key info. Whoever wrote the document put them there: a hint, nothing more.
  // Throws XmlSecurityException when one is broken, and for more than kMostCertificates.
  std::vector<Ref<Certificate>> GetCertificates() const;
  // The same before they are read as certificates: the bytes of each, which should be DER. Throws when one is
  // no base 64, and for too many.
  std::vector<std::string> GetEncodedCertificates() const;

  // The following three build a new signature.
  // With enveloped, the signature itself is left out of what is referred to.
  void AddReference(std::string_view uri, DigestMethod digest, CanonicalizationMethod canonicalization,
                    bool enveloped = false);
  // The ds:KeyInfo element, to append to; made at the first call.
  Node GetKeyInfo();
  // Fills in digests and signature value, once. Throws XmlSecurityException.
  void Compute(const Key& privateKey);

  // Whether the key made the signature, and all references have their digests; the digests, which cost what a
  // stranger likes, are only made for a signature that is the key's. Throws XmlSecurityException when the
  // signature uses what is not accepted (an algorithm, a transform, a reference that names nothing marked, or
  // what another one names, or that holds the signature and doesn't leave it out), or when the key is of
  // another kind than the signature's.
  bool Verify(const Key& key) const;
  // The first of the keys that made the signature's value, null if none did; the references' digests are not
  // looked at. Throws as Verify does, but for the key's kind.
  Ref<Key> FindSigner(const std::vector<Ref<Key>>& keys) const;

 private:
  Node FindChild(std::string_view name) const;
  SignatureMethod RequireUsable() const;
  std::string MakeDigestOfSignedInfo(SignatureMethod method) const;
  std::string MakeDigestOf(const Reference& reference) const;

  Node element_;
  SignatureShape shape_;
};

// Reads a ds:Signature element. Throws XmlSecurityException when it is not built as one: SignedInfo (with
// CanonicalizationMethod, SignatureMethod and up to kMostReferences Reference elements), SignatureValue and
// at most one KeyInfo, in this order; Object elements are refused, and so are values, lists of prefixes and
// key info beyond what anybody needs.
Ref<Signature> CreateSignatureFromDom(const Node& element);

// A new signature, whose element has no parent yet.
Ref<Signature> CreateBlankSignature(const Ref<Document>& document, std::string_view prefix,
                                    SignatureMethod method, CanonicalizationMethod canonicalization);

}  // namespace Corvane::Xml::Security

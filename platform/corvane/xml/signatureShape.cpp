#include "platform/corvane/xml/signatureShape.h"

#include <iterator>
#include <sstream>

#include "platform/corvane/textEscape.h"

namespace Corvane::Xml::Security {
namespace {

const SkipWsAndCommentsFilter kFilter;

// More than any key or digest needs. Key info is bounded in its shape, as nobody has signed it.
constexpr std::size_t kLongestValue = 4096;
constexpr std::size_t kLongestPrefixList = 256;
constexpr int kMostKeyInfoElements = 32;
constexpr int kDeepestKeyInfo = 3;

[[noreturn]] void Fail(const std::string& text) {
  throw XmlSecurityException(Corvane::Detail::EscapeLine(text));
}

bool Is(const Node& node, std::string_view name) {
  return node.IsElement(name, kSignatureNamespace);
}

// Gives the current child, which has to have this name, and goes on to the next one.
Node Take(ChildWalker& children, std::string_view name) {
  Node child = children.Current();
  if (!Is(child, name)) Fail("element '" + std::string(name) + "' not found.");
  children.Next();
  return child;
}

void RequireEnd(const ChildWalker& children, const Node& parent) {
  if (children.Current()) Fail("unexpected content in element '" + std::string(parent.GetLocalName()) + "'.");
}

std::string ReadRequired(const Node& element, std::string_view attribute) {
  const auto value = element.GetAttribute(attribute);
  if (!value) {
    Fail("element '" + std::string(element.GetLocalName()) + "' has no " + std::string(attribute) + ".");
  }
  return *value;
}

// A digest or a signature value: what is read and what canonical form shows is the same only without
// comments.
std::string ReadValue(const Node& element) {
  const Node text = element.GetFirstChild();
  if (!text || text.GetType() != NodeType::Text || text.GetNextSibling()) {
    Fail("element '" + std::string(element.GetLocalName()) + "' must hold text alone.");
  }
  if (text.GetText().size() > kLongestValue) {
    Fail("the text of element '" + std::string(element.GetLocalName()) + "' is too long.");
  }
  return std::string(text.GetText());
}

std::string ReadAlgorithm(const Node& element) {
  RequireEnd(ChildWalker(element, kFilter), element);
  return ReadRequired(element, "Algorithm");
}

std::vector<std::string> ReadPrefixes(const Node& element) {
  RequireEnd(ChildWalker(element, kFilter), element);
  const std::string list = ReadRequired(element, "PrefixList");
  if (list.size() > kLongestPrefixList) Fail("the PrefixList is too long.");
  std::istringstream words(list);
  return {std::istream_iterator<std::string>(words), {}};
}

// Exclusive canonicalization may name prefixes that are treated as in Canonical XML.
Transform ReadTransform(const Node& element) {
  ChildWalker children(element, kFilter);
  Transform transform{ReadRequired(element, "Algorithm"), {}};
  if (children.Current().IsElement("InclusiveNamespaces", GetUri(CanonicalizationMethod::Exclusive)) &&
      transform.algorithm == GetUri(CanonicalizationMethod::Exclusive)) {
    transform.inclusivePrefixes = ReadPrefixes(children.Current());
    children.Next();
  }
  RequireEnd(children, element);
  return transform;
}

std::vector<Transform> ReadTransforms(const Node& element) {
  std::vector<Transform> transforms;
  ChildWalker children(element, kFilter);
  do {
    transforms.push_back(ReadTransform(Take(children, "Transform")));
  } while (children.Current());
  return transforms;
}

Reference ReadReference(const Node& element) {
  Reference reference;
  reference.uri = ReadRequired(element, "URI");
  ChildWalker children(element, kFilter);
  if (Is(children.Current(), "Transforms")) {
    reference.transforms = ReadTransforms(Take(children, "Transforms"));
  }
  reference.digest = ReadAlgorithm(Take(children, "DigestMethod"));
  reference.digestValue = ReadValue(Take(children, "DigestValue"));
  RequireEnd(children, element);
  return reference;
}

void ReadSignedInfo(const Node& element, SignatureShape& shape) {
  ChildWalker children(element, kFilter);
  shape.canonicalization = ReadTransform(Take(children, "CanonicalizationMethod"));
  shape.method = ReadAlgorithm(Take(children, "SignatureMethod"));
  do {
    shape.references.push_back(ReadReference(Take(children, "Reference")));
  } while (children.Current() && shape.references.size() < Signature::kMostReferences);
  RequireEnd(children, element);
}

void RequireKeyInfo(const Node& parent, int depth, int& elements) {
  for (Node child = parent.GetFirstChild(); child; child.Advance()) {
    if (!child.IsElement()) continue;
    if (depth == kDeepestKeyInfo || ++elements > kMostKeyInfoElements) {
      Fail("element 'KeyInfo' holds too much.");
    }
    RequireKeyInfo(child, depth + 1, elements);
  }
}

void Require(bool isAccepted, std::string_view kind, const std::string& uri) {
  if (!isAccepted) Fail("the " + std::string(kind) + " '" + uri + "' is not accepted.");
}

bool IsExclusive(const Transform& transform) {
  return transform.algorithm == GetUri(CanonicalizationMethod::Exclusive);
}

// The signature itself is left out first, if at all; then comes the canonicalization. Without one, it would
// be Canonical XML.
void RequireAcceptedTransforms(const Reference& reference) {
  const auto& transforms = reference.transforms;
  const std::size_t next = reference.IsEnveloped() ? 1 : 0;
  if (next == transforms.size()) Fail("a reference has no exclusive canonicalization.");
  Require(IsExclusive(transforms[next]), "transform", transforms[next].algorithm);
  Require(next + 1 == transforms.size(), "transform", transforms.back().algorithm);
}

}  // namespace

bool Reference::IsEnveloped() const {
  return !transforms.empty() && transforms.front().algorithm == kEnvelopedTransform;
}

SignatureShape ReadSignature(const Node& signature) {
  if (!Is(signature, "Signature")) Fail("element 'Signature' not found.");
  SignatureShape shape;
  ChildWalker children(signature, kFilter);
  ReadSignedInfo(Take(children, "SignedInfo"), shape);
  shape.value = ReadValue(Take(children, "SignatureValue"));
  if (Is(children.Current(), "KeyInfo")) {
    int elements = 0;
    RequireKeyInfo(Take(children, "KeyInfo"), 0, elements);
  }
  RequireEnd(children, signature);
  return shape;
}

void RequireAcceptedAlgorithms(const SignatureShape& shape) {
  Require(IsExclusive(shape.canonicalization), "canonicalization", shape.canonicalization.algorithm);
  Require(FindSignatureMethod(shape.method).has_value(), "signature method", shape.method);
  for (const Reference& reference : shape.references) {
    Require(FindDigestMethod(reference.digest).has_value(), "digest", reference.digest);
    RequireAcceptedTransforms(reference);
  }
}

}  // namespace Corvane::Xml::Security

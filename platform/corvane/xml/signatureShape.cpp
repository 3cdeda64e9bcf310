#include "platform/corvane/xml/signatureShape.h"

#include <algorithm>
#include <array>

#include "platform/corvane/textEscape.h"

namespace Corvane::Xml::Security {
namespace {

const SkipWsAndCommentsFilter kFilter;

[[noreturn]] void Fail(const std::string& text) {
  throw XmlSecurityException(Corvane::Detail::EscapeLine(text));
}

bool Is(const Node& node, std::string_view name) {
  return node.IsElement(name, kSignatureNamespace);
}

// Gives the current child, which has to have this name, and goes on to the next one.
Node Take(ChildWalker& children, std::string_view name) {
  Node child = children.Current();
  if (!Is(child, name)) {
    Fail("element '" + std::string(name) + "' not found.");
  }
  children.Next();
  return child;
}

void RequireEnd(const ChildWalker& children, const Node& parent) {
  if (children.Current()) {
    Fail("unexpected content in element '" + std::string(parent.GetLocalName()) + "'.");
  }
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
void RequireText(const Node& element) {
  const Node text = element.GetFirstChild();
  if (!text || text.GetType() != NodeType::Text || text.GetNextSibling()) {
    Fail("element '" + std::string(element.GetLocalName()) + "' must hold text alone.");
  }
}

std::string ReadAlgorithm(const Node& element) {
  RequireEnd(ChildWalker(element, kFilter), element);
  return ReadRequired(element, "Algorithm");
}

// Canonicalization may name prefixes that are treated as in Canonical XML.
std::string ReadCanonicalization(const Node& element) {
  ChildWalker children(element, kFilter);
  std::string algorithm = ReadRequired(element, "Algorithm");
  if (children.Current().IsElement("InclusiveNamespaces", GetUri(CanonicalizationMethod::Exclusive)) &&
      algorithm == GetUri(CanonicalizationMethod::Exclusive)) {
    children.Next();
  }
  RequireEnd(children, element);
  return algorithm;
}

std::vector<std::string> ReadTransforms(const Node& element) {
  std::vector<std::string> transforms;
  ChildWalker children(element, kFilter);
  do {
    transforms.push_back(ReadCanonicalization(Take(children, "Transform")));
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
  RequireText(Take(children, "DigestValue"));
  RequireEnd(children, element);
  return reference;
}

void ReadSignedInfo(const Node& element, SignatureShape& shape) {
  ChildWalker children(element, kFilter);
  shape.canonicalization = ReadCanonicalization(Take(children, "CanonicalizationMethod"));
  shape.method = ReadAlgorithm(Take(children, "SignatureMethod"));
  do {
    shape.references.push_back(ReadReference(Take(children, "Reference")));
  } while (children.Current() && shape.references.size() < Signature::kMostReferences);
  RequireEnd(children, element);
}

template <typename Method, size_t size>
bool IsOneOf(std::string_view uri, const std::array<Method, size>& methods) {
  return std::any_of(methods.begin(), methods.end(), [&](Method method) { return uri == GetUri(method); });
}

bool IsCanonicalization(std::string_view uri) {
  return IsOneOf(uri, std::array{CanonicalizationMethod::Exclusive, CanonicalizationMethod::Inclusive});
}

bool IsEcdsaMethod(std::string_view uri) {
  return IsOneOf(uri, std::array{SignatureMethod::EcdsaSha256, SignatureMethod::EcdsaSha384,
                                 SignatureMethod::EcdsaSha512});
}

void Require(bool isAccepted, std::string_view kind, const std::string& uri) {
  if (!isAccepted) {
    Fail("the " + std::string(kind) + " '" + uri + "' is not accepted.");
  }
}

// The signature itself is left out first, if at all; then at most one canonicalization.
void RequireAcceptedTransforms(const std::vector<std::string>& transforms) {
  size_t next = !transforms.empty() && transforms.front() == kEnvelopedTransform ? 1 : 0;
  if (next < transforms.size() && IsCanonicalization(transforms[next])) {
    ++next;
  }
  Require(next == transforms.size(), "transform", next < transforms.size() ? transforms[next] : "");
}

}  // namespace

bool IsRsaMethod(std::string_view uri) {
  return IsOneOf(
      uri, std::array{SignatureMethod::RsaSha256, SignatureMethod::RsaSha384, SignatureMethod::RsaSha512});
}

SignatureShape ReadSignature(const Node& signature) {
  if (!Is(signature, "Signature")) {
    Fail("element 'Signature' not found.");
  }
  SignatureShape shape;
  ChildWalker children(signature, kFilter);
  ReadSignedInfo(Take(children, "SignedInfo"), shape);
  RequireText(Take(children, "SignatureValue"));
  if (Is(children.Current(), "KeyInfo")) {
    shape.keyInfo = Take(children, "KeyInfo");
  }
  RequireEnd(children, signature);
  return shape;
}

void RequireAcceptedAlgorithms(const SignatureShape& shape) {
  Require(IsCanonicalization(shape.canonicalization), "canonicalization", shape.canonicalization);
  Require(IsRsaMethod(shape.method) || IsEcdsaMethod(shape.method), "signature method", shape.method);
  for (const Reference& reference : shape.references) {
    Require(IsOneOf(reference.digest,
                    std::array{DigestMethod::Sha256, DigestMethod::Sha384, DigestMethod::Sha512}),
            "digest", reference.digest);
    RequireAcceptedTransforms(reference.transforms);
  }
}

}  // namespace Corvane::Xml::Security

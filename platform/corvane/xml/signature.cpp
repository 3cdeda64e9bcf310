#include "platform/corvane/xml/signature.h"

#include <libxml/tree.h>

#include <algorithm>
#include <set>

#include "platform/corvane/stringUtil.h"
#include "platform/corvane/xml/canonicalizer.h"
#include "platform/corvane/xml/signatureShape.h"
#include "platform/corvane/xml/signatureValue.h"

namespace Corvane::Xml::Security {
namespace {

// What a reference names: an element that was marked, or for an empty URI the root.
Node FindTarget(Document& document, std::string_view uri) {
  if (uri.empty()) return document.GetRoot();
  Node marked = uri.front() == '#' ? document.FindMarked(uri.substr(1)) : Node();
  if (!marked) throw XmlSecurityException("a reference does not name an element of the document.");
  return marked;
}

bool Holds(const Node& element, const Node& node) {
  const xmlNode* at = node.Get();
  while (at != nullptr && at != element.Get()) at = at->parent;
  return at != nullptr;
}

// Empty for what is no base 64, which no digest and no signature is.
std::string Decode(std::string text) {
  std::erase_if(text, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
  try {
    return StringUtil::Base64Decode(text);
  } catch (const Base64FormatException&) {
    return {};
  }
}

void SetText(const Node& element, const std::string& bytes) {
  element.AppendChild(CreateTextNode(element.GetDocument(), StringUtil::Base64Encode(bytes)));
}

void RequireKind(SignatureMethod method, const Key& key) {
  if (IsRsa(method) != key.IsRsa()) {
    throw XmlSecurityException("the key is of another kind than the signature.");
  }
}

// Appends a new element with its parent's prefix.
Node Append(const Node& parent, const char* name, const char* algorithm = nullptr) {
  const std::string prefix(parent.GetPrefix());
  Node child =
      CreateElementNode(parent.GetDocument(), prefix.empty() ? std::string(name) : prefix + ':' + name);
  if (algorithm != nullptr) child.SetAttribute("Algorithm", algorithm);
  parent.AppendChild(child);
  return child;
}

}  // namespace

Signature::Signature(const Node& element, SignatureShape shape)
    : element_(element), shape_(std::move(shape)) {}

Ref<Signature> CreateSignatureFromDom(const Node& element) {
  return MakeRef<Signature>(element, ReadSignature(element));
}

Ref<Signature> CreateBlankSignature(const Ref<Document>& document, std::string_view prefix,
                                    SignatureMethod method, CanonicalizationMethod canonicalization) {
  const std::string start = prefix.empty() ? "" : std::string(prefix) + ':';
  const Node element = CreateElementNode(document, start + "Signature");
  element.SetAttribute(prefix.empty() ? "xmlns" : "xmlns:" + std::string(prefix), kSignatureNamespace);
  const Node signedInfo = Append(element, "SignedInfo");
  Append(signedInfo, "CanonicalizationMethod", GetUri(canonicalization));
  Append(signedInfo, "SignatureMethod", GetUri(method));
  Append(element, "SignatureValue");
  return MakeRef<Signature>(element, SignatureShape{{GetUri(canonicalization), {}}, GetUri(method), {}, {}});
}

void Signature::AddReference(std::string_view uri, DigestMethod digest,
                             CanonicalizationMethod canonicalization, bool enveloped) {
  Reference made{std::string(uri), {}, GetUri(digest), {}};
  if (enveloped) made.transforms.push_back({kEnvelopedTransform, {}});
  made.transforms.push_back({GetUri(canonicalization), {}});
  const Node element = Append(FindChild("SignedInfo"), "Reference");
  element.SetAttribute("URI", uri);
  const Node transforms = Append(element, "Transforms");
  for (const Transform& transform : made.transforms) {
    Append(transforms, "Transform", transform.algorithm.c_str());
  }
  Append(element, "DigestMethod", made.digest.c_str());
  Append(element, "DigestValue");
  shape_.references.push_back(std::move(made));
}

Node Signature::GetKeyInfo() {
  const Node keyInfo = FindChild("KeyInfo");
  return keyInfo ? keyInfo : Append(element_, "KeyInfo");
}

Node Signature::FindChild(std::string_view name) const {
  Node child = element_.GetFirstChild();
  while (child && !child.IsElement(name, kSignatureNamespace)) child.Advance();
  return child;
}

void Signature::Compute(const Key& privateKey) {
  const SignatureMethod method = RequireUsable();
  RequireKind(method, privateKey);
  // A Reference's last child is its DigestValue.
  Node element = FindChild("SignedInfo").GetFirstChild().GetNextSibling();
  for (Reference& reference : shape_.references) {
    element.Advance();
    Node digestValue = element.GetFirstChild();
    while (digestValue.GetNextSibling()) digestValue.Advance();
    const std::string digest = MakeDigestOf(reference);
    SetText(digestValue, digest);
    reference.digestValue = StringUtil::Base64Encode(digest);
  }
  const std::string value = MakeSignatureValue(privateKey, method, MakeDigestOfSignedInfo(method));
  SetText(FindChild("SignatureValue"), value);
  shape_.value = StringUtil::Base64Encode(value);
}

bool Signature::Verify(const Key& key) const {
  const SignatureMethod method = RequireUsable();
  RequireKind(method, key);
  return IsSignatureValue(key, method, MakeDigestOfSignedInfo(method), Decode(shape_.value)) &&
         std::all_of(shape_.references.begin(), shape_.references.end(), [this](const Reference& reference) {
           return MakeDigestOf(reference) == Decode(reference.digestValue);
         });
}

Ref<Key> Signature::FindSigner(const std::vector<Ref<Key>>& keys) const {
  const SignatureMethod method = RequireUsable();
  const std::string digest = MakeDigestOfSignedInfo(method);
  const std::string value = Decode(shape_.value);
  const auto signer = std::find_if(keys.begin(), keys.end(), [&](const Ref<Key>& key) {
    return key->IsRsa() == IsRsa(method) && IsSignatureValue(*key, method, digest, value);
  });
  return signer != keys.end() ? *signer : nullptr;
}

SignatureMethod Signature::RequireUsable() const {
  RequireAcceptedAlgorithms(shape_);
  std::set<const _xmlNode*> targets;
  for (const Reference& reference : shape_.references) {
    const Node target = FindTarget(*element_.GetDocument(), reference.uri);
    if (!targets.insert(target.Get()).second) {
      throw XmlSecurityException("two references name the same element.");
    }
    if (Holds(target, element_) && !reference.IsEnveloped()) {
      throw XmlSecurityException("a reference to what holds the signature is not enveloped.");
    }
  }
  return *FindSignatureMethod(shape_.method);
}

std::string Signature::MakeDigestOfSignedInfo(SignatureMethod method) const {
  DigestWriter digest(GetDigest(method));
  Canonicalizer(CanonicalizationMethod::Exclusive, shape_.canonicalization.inclusivePrefixes)
      .Canonicalize(FindChild("SignedInfo"), digest);
  return digest.Finish();
}

std::string Signature::MakeDigestOf(const Reference& reference) const {
  DigestWriter digest(*FindDigestMethod(reference.digest));
  const Canonicalizer form(CanonicalizationMethod::Exclusive, reference.transforms.back().inclusivePrefixes);
  const Node omitted = reference.IsEnveloped() ? element_ : Node();
  Document& document = *element_.GetDocument();
  if (reference.uri.empty()) {
    form.Canonicalize(document, digest, omitted);
  } else {
    form.Canonicalize(FindTarget(document, reference.uri), digest, omitted);
  }
  return digest.Finish();
}

std::vector<Ref<Certificate>> Signature::GetCertificates() const {
  std::vector<Ref<Certificate>> certificates;
  for (const std::string& der : GetEncodedCertificates()) certificates.push_back(Certificate::FromDer(der));
  return certificates;
}

std::vector<std::string> Signature::GetEncodedCertificates() const {
  std::vector<std::string> certificates;
  const SkipWsAndCommentsFilter filter;
  const Node keyInfo = FindChild("KeyInfo");
  if (!keyInfo) return certificates;
  for (ChildWalker data(keyInfo, filter); data.Current(); data.Next()) {
    if (!data.Current().IsElement("X509Data", kSignatureNamespace)) continue;
    for (ChildWalker item(data.Current(), filter); item.Current(); item.Next()) {
      if (item.Current().IsElement("X509Certificate", kSignatureNamespace)) {
        if (certificates.size() == kMostCertificates) throw XmlSecurityException("too many certificates.");
        const Node text = item.Current().GetFirstChild();
        certificates.push_back(Certificate::DecodeBase64(text ? text.GetText() : std::string_view()));
      }
    }
  }
  return certificates;
}

}  // namespace Corvane::Xml::Security

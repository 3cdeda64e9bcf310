#include "platform/corvane/xml/signature.h"

#include <libxml/tree.h>
#include <libxml/valid.h>
#include <xmlsec/keys.h>
#include <xmlsec/openssl/crypto.h>
#include <xmlsec/openssl/evp.h>
#include <xmlsec/xmldsig.h>

#include <new>
#include <utility>

#include "platform/corvane/exception.h"
#include "platform/corvane/xml/library.h"
#include "platform/corvane/xml/openssl.h"
#include "platform/corvane/xml/signatureShape.h"

namespace Corvane::Xml::Security {
namespace {

struct ContextDeleter {
  void operator()(xmlSecDSigCtxPtr context) const { xmlSecDSigCtxDestroy(context); }
};
using ContextPtr = std::unique_ptr<xmlSecDSigCtx, ContextDeleter>;

xmlSecKeyPtr MakeSecurityKey(const Key& key) {
  EVP_PKEY_up_ref(key.Get());
  KeyPtr shared(key.Get());
  xmlSecKeyDataPtr data = xmlSecOpenSSLEvpKeyAdopt(shared.get());
  if (data == nullptr) {
    throw XmlSecurityException("the key can't be used.");
  }
  static_cast<void>(shared.release());  // the data has it
  xmlSecKeyPtr made = xmlSecKeyCreate();
  if (made == nullptr || xmlSecKeySetValue(made, data) != 0) {
    xmlSecKeyDataDestroy(data);
    if (made != nullptr) {
      xmlSecKeyDestroy(made);
    }
    throw std::bad_alloc();
  }
  return made;
}

// What stands in the shape has been checked against our own list; here is the same list for the library.
ContextPtr MakeContext(const Key& key) {
  ContextPtr context(xmlSecDSigCtxCreate(nullptr));
  if (context == nullptr) {
    throw std::bad_alloc();
  }
  context->signKey = MakeSecurityKey(key);
  context->enabledReferenceUris = xmlSecTransformUriTypeEmpty | xmlSecTransformUriTypeSameDocument;
  context->flags = XMLSEC_DSIG_FLAGS_IGNORE_MANIFESTS;
  // Identifiers are looked up as they are, and never evaluated as XPath.
  context->transformCtx.flags |= XMLSEC_TRANSFORMCTX_FLAGS_USE_VISA3D_HACK;
  for (const xmlSecTransformId id : {xmlSecTransformInclC14NId, xmlSecTransformExclC14NId}) {
    xmlSecDSigCtxEnableReferenceTransform(context.get(), id);
    xmlSecDSigCtxEnableSignatureTransform(context.get(), id);
  }
  xmlSecDSigCtxEnableReferenceTransform(context.get(), xmlSecTransformEnvelopedId);
  for (const xmlSecTransformId id :
       {xmlSecOpenSSLTransformSha256Id, xmlSecOpenSSLTransformSha384Id, xmlSecOpenSSLTransformSha512Id}) {
    xmlSecDSigCtxEnableReferenceTransform(context.get(), id);
  }
  for (const xmlSecTransformId id :
       {xmlSecOpenSSLTransformRsaSha256Id, xmlSecOpenSSLTransformRsaSha384Id,
        xmlSecOpenSSLTransformRsaSha512Id, xmlSecOpenSSLTransformEcdsaSha256Id,
        xmlSecOpenSSLTransformEcdsaSha384Id, xmlSecOpenSSLTransformEcdsaSha512Id}) {
    xmlSecDSigCtxEnableSignatureTransform(context.get(), id);
  }
  return context;
}

void RequireUsable(const Node& signature, const Key& key) {
  const SignatureShape shape = ReadSignature(signature);
  RequireAcceptedAlgorithms(shape);
  if (IsRsaMethod(shape.method) != key.IsRsa()) {
    throw XmlSecurityException("the key is of another kind than the signature.");
  }
  for (const Reference& reference : shape.references) {
    const auto* name = Detail::Xml(reference.uri.c_str());
    if (!reference.uri.empty() && (*name != '#' || xmlGetID(signature.Get()->doc, name + 1) == nullptr)) {
      throw XmlSecurityException("a reference does not name an element of the document.");
    }
  }
}

// Makes a signature a part of its document while it is computed. The key info is out of its way: it is filled
// in by whoever made the signature.
class ReadyForSigning {
 public:
  ReadyForSigning(xmlNode* signature, xmlNode* keyInfo) : signature_(signature), keyInfo_(keyInfo) {
    if (keyInfo_ != nullptr) {
      xmlUnlinkNode(keyInfo_);
    }
    if (signature_->parent == nullptr) {
      xmlAddChild(xmlDocGetRootElement(signature_->doc), signature_);
      isGuest_ = true;
    }
  }
  ReadyForSigning(const ReadyForSigning&) = delete;
  ReadyForSigning& operator=(const ReadyForSigning&) = delete;
  ~ReadyForSigning() {
    if (isGuest_) {
      xmlUnlinkNode(signature_);
    }
    if (keyInfo_ != nullptr) {
      xmlAddChild(signature_, keyInfo_);
    }
  }

 private:
  xmlNode* signature_;
  xmlNode* keyInfo_;
  bool isGuest_ = false;
};

// Appends a new element with its parent's prefix.
Node Append(const Node& parent, const char* name, const char* algorithm = nullptr) {
  const std::string prefix(parent.GetPrefix());
  Node child =
      CreateElementNode(parent.GetDocument(), prefix.empty() ? std::string(name) : prefix + ':' + name);
  if (algorithm != nullptr) {
    child.SetAttribute("Algorithm", algorithm);
  }
  parent.AppendChild(child);
  return child;
}

}  // namespace

Signature::Signature(const Node& element, std::vector<Reference> references)
    : element_(element), references_(std::move(references)) {}

Ref<Signature> CreateSignatureFromDom(const Node& element) {
  return MakeRef<Signature>(element, ReadSignature(element).references);
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
  return MakeRef<Signature>(element, std::vector<Reference>());
}

void Signature::AddReference(std::string_view uri, DigestMethod digest,
                             CanonicalizationMethod canonicalization, bool enveloped) {
  Reference made{std::string(uri), {}, GetUri(digest)};
  if (enveloped) {
    made.transforms.emplace_back(kEnvelopedTransform);
  }
  made.transforms.emplace_back(GetUri(canonicalization));
  const Node element = Append(element_.GetFirstChild(), "Reference");
  element.SetAttribute("URI", uri);
  const Node transforms = Append(element, "Transforms");
  for (const std::string& transform : made.transforms) {
    Append(transforms, "Transform", transform.c_str());
  }
  Append(element, "DigestMethod", made.digest.c_str());
  Append(element, "DigestValue");
  references_.push_back(std::move(made));
}

Node Signature::GetKeyInfo() {
  const Node keyInfo = FindKeyInfo();
  return keyInfo ? keyInfo : Append(element_, "KeyInfo");
}

Node Signature::FindKeyInfo() const {
  Node child = element_.GetFirstChild();
  while (child && !child.IsElement("KeyInfo", kSignatureNamespace)) {
    child = child.GetNextSibling();
  }
  return child;
}

void Signature::Compute(const Key& privateKey) {
  const Detail::ErrorCapture complaints;
  const ContextPtr context = MakeContext(privateKey);
  const ReadyForSigning ready(element_.Get(), FindKeyInfo().Get());
  if (xmlSecDSigCtxSign(context.get(), element_.Get()) != 0 || context->status != xmlSecDSigStatusSucceeded) {
    throw XmlSecurityException("Signing failed: " + complaints.GetText());
  }
}

bool Signature::Verify(const Key& key) const {
  RequireUsable(element_, key);
  const Detail::ErrorCapture complaints;
  const ContextPtr context = MakeContext(key);
  if (xmlSecDSigCtxVerify(context.get(), element_.Get()) != 0) {
    throw XmlSecurityException(complaints.GetText());
  }
  return context->status == xmlSecDSigStatusSucceeded;
}

std::vector<Ref<Certificate>> Signature::GetCertificates() const {
  std::vector<Ref<Certificate>> certificates;
  const SkipWsAndCommentsFilter filter;
  const Node keyInfo = FindKeyInfo();
  if (!keyInfo) {
    return certificates;
  }
  for (ChildWalker data(keyInfo, filter); data.Current(); data.Next()) {
    if (!data.Current().IsElement("X509Data", kSignatureNamespace)) {
      continue;
    }
    for (ChildWalker item(data.Current(), filter); item.Current(); item.Next()) {
      if (item.Current().IsElement("X509Certificate", kSignatureNamespace)) {
        if (certificates.size() == kMostCertificates) {
          throw XmlSecurityException("too many certificates.");
        }
        const Node text = item.Current().GetFirstChild();
        certificates.push_back(Certificate::FromBase64(text ? text.GetText() : std::string_view()));
      }
    }
  }
  return certificates;
}

}  // namespace Corvane::Xml::Security

#include "sso/anchorKeyResolver.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/corvane/xml/signature.h"
#include "sso/samlToken.h"
#include "sso/signerCache.h"
#include "sso/ssoExceptions.h"

namespace SsoClient {
namespace {

namespace Security = Corvane::Xml::Security;
using KeyRef = Corvane::Ref<Security::Key>;

// The key of the first certificate, with others that may lead from it to an anchor.
KeyRef FindTrusted(const Security::TrustAnchors& anchors, const std::vector<std::string>& encoded,
                   SignerCache& known) {
  if (KeyRef key = known.Find(encoded)) return key;
  const auto signer = Security::Certificate::FromDer(encoded.front());
  std::vector<Corvane::Ref<Security::Certificate>> others(encoded.size() - 1);
  std::transform(encoded.begin() + 1, encoded.end(), others.begin(), &Security::Certificate::FromDer);
  const auto chain = anchors.FindChain(*signer, others);
  if (chain.empty()) return nullptr;
  KeyRef key = signer->GetPublicKey();
  known.Keep(encoded, chain, key);
  return key;
}

// A token that doesn't say who signed it is valid only if an anchor did.
KeyRef Resolve(const Security::TrustAnchors& anchors, SignerCache& known, const SamlToken& token) try {
  const auto& signature = *token.GetSignature();
  const auto certificates = signature.GetEncodedCertificates();
  KeyRef key = certificates.empty() ? signature.FindSigner(anchors.GetKeys())
                                    : FindTrusted(anchors, certificates, known);
  if (!key) throw InvalidSignatureException("The token's signer is not trusted.");
  return key;
} catch (const Security::XmlSecurityException& fault) {
  throw InvalidSignatureException("The token's signer can't be read: " + fault.GetText());
}

}  // namespace

KeyResolver MakeAnchorKeyResolver(Corvane::Ref<Security::TrustAnchors> anchors) {
  return [anchors = std::move(anchors), known = std::make_shared<SignerCache>()](const SamlToken& token) {
    return Resolve(*anchors, *known, token);
  };
}

}  // namespace SsoClient

#include "sso/anchorKeyResolver.h"

#include <utility>

#include "platform/corvane/xml/signature.h"
#include "sso/samlToken.h"
#include "sso/ssoExceptions.h"

namespace SsoClient {
namespace {

namespace Security = Corvane::Xml::Security;

// A token that doesn't say who signed it is valid only if an anchor did.
Corvane::Ref<Security::Key> Resolve(const Security::TrustAnchors& anchors, const SamlToken& token) try {
  const auto& signature = *token.GetSignature();
  auto certificates = signature.GetCertificates();
  Corvane::Ref<Security::Key> key;
  if (certificates.empty()) {
    key = signature.FindSigner(anchors.GetKeys());
  } else {
    const auto signer = certificates.front();
    certificates.erase(certificates.begin());
    if (anchors.Trusts(*signer, certificates)) key = signer->GetPublicKey();
  }
  if (!key) throw InvalidSignatureException("The token's signer is not trusted.");
  return key;
} catch (const Security::XmlSecurityException& fault) {
  throw InvalidSignatureException("The token's signer can't be read: " + fault.GetText());
}

}  // namespace

KeyResolver MakeAnchorKeyResolver(Corvane::Ref<Security::TrustAnchors> anchors) {
  return [anchors = std::move(anchors)](const SamlToken& token) { return Resolve(*anchors, token); };
}

}  // namespace SsoClient

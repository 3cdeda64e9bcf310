#include "sso/anchorKeyResolver.h"

#include <utility>

#include "platform/corvane/xml/signature.h"
#include "sso/samlToken.h"
#include "sso/ssoExceptions.h"

namespace SsoClient {
namespace {

namespace Security = Corvane::Xml::Security;

Corvane::Ref<Security::Key> Resolve(const Security::TrustAnchors& anchors, const SamlToken& token) try {
  auto certificates = token.GetSignature()->GetCertificates();
  if (certificates.empty()) throw InvalidSignatureException("The token does not tell who signed it.");
  const auto signer = certificates.front();
  certificates.erase(certificates.begin());
  if (!anchors.Trusts(*signer, certificates)) {
    throw InvalidSignatureException("The token's signer is not trusted.");
  }
  return signer->GetPublicKey();
} catch (const Security::XmlSecurityException& fault) {
  throw InvalidSignatureException("The token's signer can't be read: " + fault.GetText());
}

}  // namespace

KeyResolver MakeAnchorKeyResolver(Corvane::Ref<Security::TrustAnchors> anchors) {
  return [anchors = std::move(anchors)](const SamlToken& token) { return Resolve(*anchors, token); };
}

}  // namespace SsoClient

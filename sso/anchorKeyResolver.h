#pragma once

#include "platform/corvane/xml/key.h"
#include "sso/parseToken.h"

namespace SsoClient {

// Gives the key of the certificate in a token's signature, if the anchors trust it; further certificates
// there may lead from it to an anchor. Without a certificate there, gives the key of the anchor that signed
// the token. Throws InvalidSignatureException for a signer that isn't trusted. It and its copies remember the
// signers that it found trusted, and are used by any thread.
KeyResolver MakeAnchorKeyResolver(Corvane::Ref<Corvane::Xml::Security::TrustAnchors> anchors);

}  // namespace SsoClient

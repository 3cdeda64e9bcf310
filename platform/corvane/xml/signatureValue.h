#pragma once

#include <string>
#include <string_view>

#include "platform/corvane/xml/algorithms.h"
#include "platform/corvane/xml/key.h"

namespace Corvane::Xml::Security {

// The bytes of digests and signatures in the form that XML Signature gives them: RSASSA-PKCS1-v1_5, and for
// ECDSA both numbers in the length of the curve's order, one after the other (RFC 4050, section 3.3). The
// key has to be of the method's kind.
std::string MakeDigest(DigestMethod method, std::string_view octets);
// Throws XmlSecurityException, as for a key that is only public.
std::string MakeSignatureValue(const Key& key, SignatureMethod method, std::string_view octets);
bool IsSignatureValue(const Key& key, SignatureMethod method, std::string_view octets,
                      std::string_view value);

}  // namespace Corvane::Xml::Security

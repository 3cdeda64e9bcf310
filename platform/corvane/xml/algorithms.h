#pragma once

#include <optional>
#include <string_view>

namespace Corvane::Xml::Security {

inline constexpr char kSignatureNamespace[] = "http://www.w3.org/2000/09/xmldsig#";
// Leaves the signature itself out of what it is over.
inline constexpr char kEnvelopedTransform[] = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";

// All that is accepted, both in signatures that are checked and in those that are made.
enum class CanonicalizationMethod {
  Inclusive,  // Canonical XML 1.0 without comments; not in signatures
  Exclusive,  // Exclusive XML Canonicalization 1.0 without comments
};
enum class DigestMethod { Sha256, Sha384, Sha512 };
enum class SignatureMethod { RsaSha256, RsaSha384, RsaSha512, EcdsaSha256, EcdsaSha384, EcdsaSha512 };

// The URIs of XML Signature (RFC 3275, RFC 9231).
const char* GetUri(CanonicalizationMethod method);
const char* GetUri(DigestMethod method);
const char* GetUri(SignatureMethod method);

// Nothing for any other URI.
std::optional<DigestMethod> FindDigestMethod(std::string_view uri);
std::optional<SignatureMethod> FindSignatureMethod(std::string_view uri);

// Whether it is for RSA keys; the others are for EC keys.
bool IsRsa(SignatureMethod method);
// What the signature's value is over.
DigestMethod GetDigest(SignatureMethod method);

}  // namespace Corvane::Xml::Security

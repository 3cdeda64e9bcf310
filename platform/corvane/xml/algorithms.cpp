#include "platform/corvane/xml/algorithms.h"

#include <algorithm>
#include <array>

#include "platform/corvane/panic.h"

namespace Corvane::Xml::Security {
namespace {

constexpr std::array kDigests = {DigestMethod::Sha256, DigestMethod::Sha384, DigestMethod::Sha512};
constexpr std::array kSignatures = {SignatureMethod::RsaSha256,   SignatureMethod::RsaSha384,
                                    SignatureMethod::RsaSha512,   SignatureMethod::EcdsaSha256,
                                    SignatureMethod::EcdsaSha384, SignatureMethod::EcdsaSha512};

template <typename Methods>
std::optional<typename Methods::value_type> Find(const Methods& methods, std::string_view uri) {
  const auto found =
      std::find_if(methods.begin(), methods.end(), [&](const auto method) { return uri == GetUri(method); });
  return found != methods.end() ? std::optional(*found) : std::nullopt;
}

}  // namespace

const char* GetUri(CanonicalizationMethod method) {
  switch (method) {
    case CanonicalizationMethod::Inclusive:
      return "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
    case CanonicalizationMethod::Exclusive:
      return "http://www.w3.org/2001/10/xml-exc-c14n#";
  }
  NOT_REACHED();
}

const char* GetUri(DigestMethod method) {
  switch (method) {
    case DigestMethod::Sha256:
      return "http://www.w3.org/2001/04/xmlenc#sha256";
    case DigestMethod::Sha384:
      return "http://www.w3.org/2001/04/xmldsig-more#sha384";
    case DigestMethod::Sha512:
      return "http://www.w3.org/2001/04/xmlenc#sha512";
  }
  NOT_REACHED();
}

const char* GetUri(SignatureMethod method) {
  switch (method) {
    case SignatureMethod::RsaSha256:
      return "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256";
    case SignatureMethod::RsaSha384:
      return "http://www.w3.org/2001/04/xmldsig-more#rsa-sha384";
    case SignatureMethod::RsaSha512:
      return "http://www.w3.org/2001/04/xmldsig-more#rsa-sha512";
    case SignatureMethod::EcdsaSha256:
      return "http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha256";
    case SignatureMethod::EcdsaSha384:
      return "http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha384";
    case SignatureMethod::EcdsaSha512:
      return "http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha512";
  }
  NOT_REACHED();
}

std::optional<DigestMethod> FindDigestMethod(std::string_view uri) {
  return Find(kDigests, uri);
}

std::optional<SignatureMethod> FindSignatureMethod(std::string_view uri) {
  return Find(kSignatures, uri);
}

bool IsRsa(SignatureMethod method) {
  return method < SignatureMethod::EcdsaSha256;
}

DigestMethod GetDigest(SignatureMethod method) {
  return kDigests.at(static_cast<std::size_t>(method) % kDigests.size());
}

}  // namespace Corvane::Xml::Security

#pragma once

#include <string>
#include <string_view>

#include "platform/corvane/xml/algorithms.h"
#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/reader.h"

struct evp_md_ctx_st;

namespace Corvane::Xml::Security {

// Makes the digest of what is written, so that a canonical form never has to be there as a whole.
class DigestWriter final : public Writer {
 public:
  explicit DigestWriter(DigestMethod method);
  ~DigestWriter() override;

  void Write(std::string_view piece) override;
  // The digest, once.
  std::string Finish();

 private:
  evp_md_ctx_st* context_;
};

// The bytes of signatures in the form that XML Signature gives them: RSASSA-PKCS1-v1_5, and for ECDSA both
// numbers in the length of the curve's order, one after the other (RFC 4050, section 3.3). The key has to be
// of the method's kind, the digest the method's.
// Throws XmlSecurityException, as for a key that is only public.
std::string MakeSignatureValue(const Key& key, SignatureMethod method, std::string_view digest);
bool IsSignatureValue(const Key& key, SignatureMethod method, std::string_view digest,
                      std::string_view value);

}  // namespace Corvane::Xml::Security

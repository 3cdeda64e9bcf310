// SAML assertions of hostile clients. The key is a stranger's: whatever the text says, and whatever is said
// with the bytes of a token that was signed once, nothing is believed.

#include <libxml/c14n.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/corvane/xml/canonicalizer.h"
#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/parser.h"
#include "platform/corvane/xml/reader.h"
#include "platform/corvane/xml/signature.h"
#include "sso/parseToken.h"
#include "sso/ssoExceptions.h"

namespace {

using namespace Corvane::Xml;

void Require(bool condition) {
  if (!condition) std::abort();
}

const Security::Key& Stranger(bool isRsa) {
  static const Security::Key kRsa(EVP_RSA_gen(2048));
  static const Security::Key kCurve(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  return isRsa ? kRsa : kCurve;
}

std::string Write(const Node& node) {
  const auto writer = Corvane::CreateStringWriter();
  WriteNode(node, *writer);
  return writer->GetText();
}

// A text that is well-formed can be written, and reads the same again.
void WriteAndReadAgain(const std::string& text) {
  const auto document = CreateXMLDocument();
  Node element;
  try {
    element = CreateElementFromText(document, text);
  } catch (const XMLParseException&) {
    return;
  }
  const auto root = CreateElementNode(document, "root");
  root.AppendChild(element);
  document->SetRoot(root);
  try {
    Require(static_cast<bool>(ParseText(Write(root))->GetRoot().GetFirstChild()));
  } catch (const XMLParseException& fault) {
    // There is one element more than before, and one level.
    const auto reason = fault.GetText();
    Require(reason.find("too deeply") != std::string::npos ||
            reason.find("too much markup") != std::string::npos);
  }
}

// The form of a child of the root is the XML library's, where that has one: it refuses relative namespaces.
void CompareCanonicalForms(const std::string& text) try {
  const auto document = ParseText(text);
  auto child = document->GetRoot().GetFirstChild();
  while (child && !child.IsElement()) child.Advance();
  if (!child) return;
  const auto isInside = [](void* apex, xmlNode* node, xmlNode* parent) {
    while (node != apex && parent != nullptr && parent != apex) parent = parent->parent;
    return node == apex || parent != nullptr ? 1 : 0;
  };
  xmlSetStructuredErrorFunc(nullptr, [](void*, xmlErrorPtr) {});
  for (const auto& [method, mode] :
       {std::pair{Security::CanonicalizationMethod::Inclusive, XML_C14N_1_0},
        std::pair{Security::CanonicalizationMethod::Exclusive, XML_C14N_EXCLUSIVE_1_0}}) {
    xmlBuffer* expected = xmlBufferCreate();
    xmlOutputBuffer* output = xmlOutputBufferCreateBuffer(expected, nullptr);
    const bool isMade =
        xmlC14NExecute(document->GetTree(), isInside, child.Get(), mode, nullptr, 0, output) >= 0;
    xmlOutputBufferClose(output);
    if (isMade) {
      const auto writer = Corvane::CreateStringWriter();
      Security::CreateCanonicalizer(method)->Canonicalize(child, *writer);
      Require(writer->GetText() == reinterpret_cast<const char*>(xmlBufferContent(expected)));
    }
    xmlBufferFree(expected);
  }
} catch (const XMLParseException&) {
}

void CheckSignature(const SsoClient::SamlToken& token) {
  for (const bool isRsa : {true, false}) {
    try {
      SsoClient::VerifySignature(token, Stranger(isRsa));
      Require(false);
    } catch (const SsoClient::InvalidSignatureException&) {
    }
  }
  try {
    token.GetSignature()->GetCertificates();
  } catch (const Security::XmlSecurityException&) {
  }
  SsoClient::IsHolderOfKey(token, Stranger(true));
  Require(ERR_peek_error() == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  WriteAndReadAgain(text);
  CompareCanonicalForms(text);
  try {
    const auto token = SsoClient::ParseAssertion(text);
    Require(token->GetText() == text && !token->GetSubject().name.empty() &&
            !token->GetSubject().domain.empty());
    CheckSignature(*token);
    SsoClient::ValidateToken(*token, Corvane::System::DateTime(1'795'000'000'000'000));
  } catch (const SsoClient::ParseException&) {
  }
  return 0;
}

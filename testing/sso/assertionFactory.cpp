#include "testing/sso/assertionFactory.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

#include "platform/corvane/dateTime.h"
#include "platform/corvane/stringUtil.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/parser.h"
#include "platform/corvane/xml/reader.h"
#include "platform/corvane/xml/signature.h"
#include "sso/samlNames.h"

namespace AssertionFactory {
namespace {

using namespace Corvane::Xml;
using Corvane::System::DateTime;
using Corvane::Xml::Security::Certificate;
using Corvane::Xml::Security::Key;

void Require(bool condition) {
  if (!condition) throw std::runtime_error("an identity can't be made");
}

EVP_PKEY* Generate(KeyKind kind) {
  switch (kind) {
    case KeyKind::Rsa1024:
      return EVP_RSA_gen(1024);
    case KeyKind::Rsa2048:
      return EVP_RSA_gen(2048);
    case KeyKind::EcP256:
      return EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256");
  }
  return nullptr;
}

template <typename Write>
std::string ToPem(Write write) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new(BIO_s_mem()), &BIO_free);
  Require(write(bio.get()) == 1);
  const char* text = nullptr;
  const auto length = BIO_get_mem_data(bio.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

void AddExtension(X509* certificate, int nid, const char* value) {
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      X509V3_EXT_conf_nid(nullptr, nullptr, nid, value), &X509_EXTENSION_free);
  Require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

void SetName(X509_NAME* name, const std::string& text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  Require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, bytes, static_cast<int>(text.size()), -1,
                                     0) == 1);
}

X509* Certify(EVP_PKEY* key, const CertificateSpec& spec) {
  X509* certificate = X509_new();
  X509_set_version(certificate, X509_VERSION_3);
  static long serial = 0;
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate), spec.startsInSeconds);
  X509_gmtime_adj(X509_getm_notAfter(certificate), spec.endsInSeconds);
  X509_set_pubkey(certificate, key);
  SetName(X509_get_subject_name(certificate), spec.commonName);
  X509_set_issuer_name(
      certificate,
      X509_get_subject_name(spec.issuer != nullptr ? spec.issuer->certificate->Get() : certificate));
  AddExtension(certificate, NID_basic_constraints,
               spec.isAuthority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  if (spec.keyUsage != nullptr) AddExtension(certificate, NID_key_usage, spec.keyUsage);
  Require(X509_sign(certificate, spec.issuer != nullptr ? spec.issuer->key->Get() : key, EVP_sha256()) > 0);
  return certificate;
}

std::string FromNow(std::int64_t seconds) {
  return DateTime(Corvane::System::GetUtcDateTime().GetUtcTime() + seconds * 1'000'000).ToShortStringBias();
}

std::string Element(const std::string& name, const std::string& attributes, const std::string& content) {
  return "<" + name + (attributes.empty() ? "" : " " + attributes) + ">" + content + "</" +
         name.substr(0, name.find(' ')) + ">";
}

std::string NameId(const std::string& user) {
  return Element("saml:NameID", std::string("Format=\"") + SsoClient::kUpnClaim + '"', user);
}

std::string BuildSubject(const AssertionSpec& spec) {
  const bool isBearer = spec.holderCertificate.empty();
  const std::string delegate = spec.delegateTo.empty() ? "" : NameId(spec.delegateTo);
  const std::string data =
      isBearer ? "<saml:SubjectConfirmationData NotOnOrAfter=\"" + FromNow(spec.endsInSeconds) + "\"/>"
               : Element("saml:SubjectConfirmationData",
                         "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                         "xsi:type=\"saml:KeyInfoConfirmationDataType\"",
                         "<ds:KeyInfo "
                         "xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:X509Data><ds:X509Certificate>" +
                             spec.holderCertificate + "</ds:X509Certificate></ds:X509Data></ds:KeyInfo>");
  const std::string method = isBearer ? SsoClient::kBearerMethod : SsoClient::kHolderOfKeyMethod;
  return Element(
      "saml:Subject", "",
      NameId(spec.user) + Element("saml:SubjectConfirmation", "Method=\"" + method + '"', delegate + data));
}

std::string BuildConditions(const AssertionSpec& spec) {
  std::string content;
  if (!spec.delegateTo.empty()) {
    content +=
        Element("saml:Condition",
                std::string("xmlns:del=\"") + SsoClient::kDelegationNamespace +
                    "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                    "xsi:type=\"del:DelegationRestrictionType\"",
                Element("del:Delegate", "DelegationInstant=\"" + FromNow(0) + '"', NameId(spec.delegateTo)));
  }
  std::string audiences;
  for (const auto& audience : spec.audiences) audiences += Element("saml:Audience", "", audience);
  if (!audiences.empty()) content += Element("saml:AudienceRestriction", "", audiences);
  if (spec.proxyCount) {
    content += "<saml:ProxyRestriction Count=\"" + std::to_string(*spec.proxyCount) + "\"/>";
  }
  if (spec.renewable) {
    content +=
        std::string("<saml:Condition xmlns:rsa=\"") + SsoClient::kAdviceNamespace +
        "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "Count=\"10\" Postdatable=\"false\" RenewExpired=\"false\" xsi:type=\"rsa:RenewRestrictionType\"/>";
  }
  return Element("saml:Conditions",
                 "NotBefore=\"" + FromNow(spec.startsInSeconds) + "\" NotOnOrAfter=\"" +
                     FromNow(spec.endsInSeconds) + '"',
                 content);
}

std::string BuildAttribute(const char* name, const std::vector<std::string>& values) {
  std::string content;
  for (const auto& value : values) content += Element("saml:AttributeValue", "", value);
  return Element("saml:Attribute", std::string("Name=\"") + name + '"', content);
}

std::string BuildAttributes(const AssertionSpec& spec) {
  std::string content = BuildAttribute(SsoClient::kGroupAttribute, spec.groups) +
                        BuildAttribute(SsoClient::kFirstNameAttribute, {"Anna"}) +
                        BuildAttribute(SsoClient::kLastNameAttribute, {"Example"});
  if (spec.isSolution) content += BuildAttribute(SsoClient::kSolutionAttribute, {*spec.isSolution});
  return Element("saml:AttributeStatement", "", content);
}

Security::SignatureMethod MethodFor(const Identity& signer, const SigningSpec& spec) {
  return !signer.key->IsRsa() && spec.method == Security::SignatureMethod::RsaSha256
             ? Security::SignatureMethod::EcdsaSha256
             : spec.method;
}

void PutCertificate(Security::Signature& signature, const Certificate& certificate) {
  const auto keyInfo = signature.GetKeyInfo();
  const auto& document = keyInfo.GetDocument();
  const auto data = CreateElementNode(document, "ds:X509Data");
  const auto element = CreateElementNode(document, "ds:X509Certificate");
  element.AppendChild(CreateTextNode(document, certificate.GetBase64()));
  data.AppendChild(element);
  keyInfo.AppendChild(data);
}

}  // namespace

Identity MakeIdentity(KeyKind kind, const CertificateSpec& spec) {
  const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(Generate(kind), &EVP_PKEY_free);
  Require(key != nullptr);
  Identity identity;
  identity.certificate = Corvane::MakeRef<Certificate>(Certify(key.get(), spec));
  identity.privateKeyPem = ToPem([&](BIO* bio) {
    return PEM_write_bio_PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  });
  identity.certificatePem =
      ToPem([&](BIO* bio) { return PEM_write_bio_X509(bio, identity.certificate->Get()); });
  // A key that is too weak to be used has a certificate all the same.
  if (kind != KeyKind::Rsa1024) identity.key = Key::FromPrivatePem(identity.privateKeyPem);
  return identity;
}

std::string BuildAssertion(const AssertionSpec& spec) {
  const std::string id = spec.id.empty() ? "_" + Corvane::StringUtil::GenerateUuid() : spec.id;
  return Element(
      "saml:Assertion",
      std::string("xmlns:saml=\"") + SsoClient::kAssertionNamespace + "\" ID=\"" + id + "\" IssueInstant=\"" +
          FromNow(0) + "\" Version=\"2.0\"",
      Element("saml:Issuer", "", spec.issuer) + BuildSubject(spec) + BuildConditions(spec) +
          Element("saml:AuthnStatement", "AuthnInstant=\"" + FromNow(0) + '"',
                  Element("saml:AuthnContext", "",
                          Element("saml:AuthnContextClassRef", "",
                                  "urn:oasis:names:tc:SAML:2.0:ac:classes:PasswordProtectedTransport"))) +
          BuildAttributes(spec));
}

std::string SignAssertion(std::string_view assertion, const Identity& signer, const SigningSpec& spec) {
  const auto document = ParseText(assertion);
  const auto root = document->GetRoot();
  const auto id = root.GetAttribute("ID").value_or("");
  document->MarkIdentifier(root, "ID");
  constexpr auto kExclusive = Security::CanonicalizationMethod::Exclusive;
  const auto signature = Security::CreateBlankSignature(document, "ds", MethodFor(signer, spec), kExclusive);
  signature->AddReference(spec.uri.value_or("#" + id), spec.digest, kExclusive, true);
  if (spec.withCertificate) PutCertificate(*signature, *signer.certificate);
  for (const auto& other : spec.others) PutCertificate(*signature, *other);
  signature->Compute(*signer.key);
  const auto writer = Corvane::CreateStringWriter();
  WriteNode(signature->GetElement(), *writer);
  constexpr std::string_view kIssuerEnd = "</saml:Issuer>";
  std::string text(assertion);
  return text.insert(text.find(kIssuerEnd) + kIssuerEnd.size(), writer->GetText());
}

std::string MakeToken(const Identity& signer, const AssertionSpec& spec) {
  return SignAssertion(BuildAssertion(spec), signer);
}

}  // namespace AssertionFactory

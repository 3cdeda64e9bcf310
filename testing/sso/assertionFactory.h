#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/corvane/object.h"
#include "platform/corvane/xml/algorithms.h"
#include "platform/corvane/xml/key.h"

// Makes and signs assertions the way a token service does. For tests and for the test token service; it knows
// nothing of GoogleTest.
namespace AssertionFactory {

// A new key pair with a self-signed certificate, or one that another identity issued.
struct Identity {
  std::string privateKeyPem;
  std::string certificatePem;
  Corvane::Ref<Corvane::Xml::Security::Key> key;
  Corvane::Ref<Corvane::Xml::Security::Certificate> certificate;
};

enum class KeyKind { Rsa1024, Rsa2048, EcP256 };

struct CertificateSpec {
  std::string commonName = "token service";
  const Identity* issuer = nullptr;
  bool isAuthority = true;
  const char* keyUsage = nullptr;  // as OpenSSL's configuration has it; null for none
  std::int64_t startsInSeconds = -3600;
  std::int64_t endsInSeconds = 3600;
};

Identity MakeIdentity(KeyKind kind = KeyKind::Rsa2048, const CertificateSpec& spec = {});

struct AssertionSpec {
  std::string id = {};  // empty for a new one
  std::string issuer = "https://sts.example/websso";
  std::string user = "admin@example.local";
  std::int64_t startsInSeconds = -60;  // from now
  std::int64_t endsInSeconds = 3600;
  std::string holderCertificate = {};  // base 64 of DER; empty for a bearer token
  std::string delegateTo = {};         // name@domain; empty for none
  std::vector<std::string> audiences = {};
  std::optional<unsigned> proxyCount = {};
  bool renewable = false;
  std::vector<std::string> groups = {"example.local\\Administrators", "example.local\\Users"};
  std::optional<std::string> isSolution = "false";
};

// An assertion without a signature.
std::string BuildAssertion(const AssertionSpec& spec = {});

struct SigningSpec {
  Corvane::Xml::Security::SignatureMethod method = Corvane::Xml::Security::SignatureMethod::RsaSha256;
  Corvane::Xml::Security::DigestMethod digest = Corvane::Xml::Security::DigestMethod::Sha256;
  std::optional<std::string> uri = {};  // without one, "#" and the assertion's ID
  bool withCertificate = true;          // in the key info
  std::vector<Corvane::Ref<Corvane::Xml::Security::Certificate>> others = {};  // behind it
};

// The assertion with its signature after the issuer.
std::string SignAssertion(std::string_view assertion, const Identity& signer, const SigningSpec& spec = {});

// Both in one.
std::string MakeToken(const Identity& signer, const AssertionSpec& spec = {});

}  // namespace AssertionFactory

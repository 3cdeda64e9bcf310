#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <string>
#include <vector>

#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/parser.h"
#include "sso/anchorKeyResolver.h"
#include "sso/parseToken.h"
#include "testing/sso/assertionFactory.h"

// A SAML assertion of about 4 KiB, from its text to a token that is believed. The verification of one RSA
// signature is beside it as the measure: it can't be avoided.
namespace {

using namespace SsoClient;
using Corvane::MakeRef;
using Corvane::Xml::Security::TrustAnchors;

const AssertionFactory::Identity& Signer() {
  static const auto signer = AssertionFactory::MakeIdentity();
  return signer;
}

// A token of about 4 KiB.
std::string MakeLargeToken(const AssertionFactory::Identity& signer,
                           const AssertionFactory::SigningSpec& signing = {}) {
  AssertionFactory::AssertionSpec spec;
  spec.groups.clear();
  const auto make = [&] {
    return AssertionFactory::SignAssertion(AssertionFactory::BuildAssertion(spec), signer, signing);
  };
  while (make().size() < 4096) {
    spec.groups.push_back("example.local\\Group" + std::to_string(spec.groups.size()));
  }
  return make();
}

const std::string& TokenText() {
  static const std::string text = MakeLargeToken(Signer());
  return text;
}

void RsaVerify(benchmark::State& state) {
  EVP_PKEY* key = Signer().key->Get();
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  std::vector<unsigned char> signature(256);
  std::size_t length = signature.size();
  const auto* text = reinterpret_cast<const unsigned char*>(TokenText().data());
  EVP_DigestSignInit(context, nullptr, EVP_sha256(), nullptr, key);
  EVP_DigestSign(context, signature.data(), &length, text, 512);
  for (auto _ : state) {
    EVP_MD_CTX_reset(context);
    EVP_DigestVerifyInit(context, nullptr, EVP_sha256(), nullptr, key);
    if (EVP_DigestVerify(context, signature.data(), length, text, 512) != 1) {
      state.SkipWithError("wrong signature");
    }
  }
  EVP_MD_CTX_free(context);
}
BENCHMARK(RsaVerify)->Unit(benchmark::kMicrosecond);

void ParseXml(benchmark::State& state) {
  const std::string& text = TokenText();
  for (auto _ : state) benchmark::DoNotOptimize(Corvane::Xml::ParseText(text));
}
BENCHMARK(ParseXml)->Unit(benchmark::kMicrosecond);

void ParseAssertion(benchmark::State& state) {
  const std::string& text = TokenText();
  for (auto _ : state) benchmark::DoNotOptimize(SsoClient::ParseAssertion(text));
}
BENCHMARK(ParseAssertion)->Unit(benchmark::kMicrosecond);

void VerifySignature(benchmark::State& state) {
  const auto token = SsoClient::ParseAssertion(TokenText());
  for (auto _ : state) SsoClient::VerifySignature(*token, *Signer().key);
}
BENCHMARK(VerifySignature)->Unit(benchmark::kMicrosecond);

// With a key that the caller has anyway.
void ParseToken(benchmark::State& state) {
  const std::string& text = TokenText();
  const auto resolver = [](const SamlToken&) { return Signer().key; };
  for (auto _ : state) benchmark::DoNotOptimize(SsoClient::ParseToken(text, resolver));
  state.SetLabel(std::to_string(text.size()) + " bytes");
}
BENCHMARK(ParseToken)->Unit(benchmark::kMicrosecond);

// With the key of the token's certificate, which is an anchor.
void ParseTokenOfAnchor(benchmark::State& state) {
  const std::string& text = TokenText();
  const auto resolver = MakeAnchorKeyResolver(MakeRef<TrustAnchors>(std::vector{Signer().certificate}));
  for (auto _ : state) benchmark::DoNotOptimize(SsoClient::ParseToken(text, resolver));
}
BENCHMARK(ParseTokenOfAnchor)->Unit(benchmark::kMicrosecond);

// With the key of the token's certificate, which an anchor issued.
void ParseTokenOfIssued(benchmark::State& state) {
  const auto root =
      AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::Rsa2048, {.commonName = "root"});
  const auto signer = AssertionFactory::MakeIdentity(
      AssertionFactory::KeyKind::Rsa2048,
      {.commonName = "sts", .issuer = &root, .isAuthority = false, .keyUsage = "digitalSignature"});
  const std::string text = MakeLargeToken(signer);
  const auto resolver = MakeAnchorKeyResolver(MakeRef<TrustAnchors>(std::vector{root.certificate}, "sts"));
  for (auto _ : state) benchmark::DoNotOptimize(SsoClient::ParseToken(text, resolver));
  state.SetLabel(std::to_string(text.size()) + " bytes");
}
BENCHMARK(ParseTokenOfIssued)->Unit(benchmark::kMicrosecond);

// Without a certificate in the token; the anchors' keys are tried.
void ParseTokenOfUnnamed(benchmark::State& state) {
  const std::string text = MakeLargeToken(Signer(), {.withCertificate = false});
  const auto resolver = MakeAnchorKeyResolver(MakeRef<TrustAnchors>(std::vector{Signer().certificate}));
  for (auto _ : state) benchmark::DoNotOptimize(SsoClient::ParseToken(text, resolver));
  state.SetLabel(std::to_string(text.size()) + " bytes");
}
BENCHMARK(ParseTokenOfUnnamed)->Unit(benchmark::kMicrosecond);

}  // namespace

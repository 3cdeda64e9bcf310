#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <string>
#include <vector>

#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/parser.h"
#include "sso/parseToken.h"
#include "testing/sso/assertionFactory.h"

// A SAML assertion of about 4 KiB, from its text to a token that is believed. The verification of one RSA
// signature is beside it as the measure: it can't be avoided.
namespace {

using namespace SsoClient;

const AssertionFactory::Identity& Signer() {
  static const auto signer = AssertionFactory::MakeIdentity();
  return signer;
}

const std::string& TokenText() {
  static const std::string text = [] {
    AssertionFactory::AssertionSpec spec;
    spec.groups.clear();
    while (AssertionFactory::MakeToken(Signer(), spec).size() < 4096) {
      spec.groups.push_back("example.local\\Group" + std::to_string(spec.groups.size()));
    }
    return AssertionFactory::MakeToken(Signer(), spec);
  }();
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
  for (auto _ : state) benchmark::DoNotOptimize(Corvane::Xml::ParseText(TokenText()));
}
BENCHMARK(ParseXml)->Unit(benchmark::kMicrosecond);

void ParseAssertion(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(SsoClient::ParseAssertion(TokenText()));
}
BENCHMARK(ParseAssertion)->Unit(benchmark::kMicrosecond);

void VerifySignature(benchmark::State& state) {
  const auto token = SsoClient::ParseAssertion(TokenText());
  for (auto _ : state) SsoClient::VerifySignature(*token, *Signer().key);
}
BENCHMARK(VerifySignature)->Unit(benchmark::kMicrosecond);

void ParseToken(benchmark::State& state) {
  const auto resolver = [](const SamlToken&) { return Signer().key; };
  for (auto _ : state) benchmark::DoNotOptimize(SsoClient::ParseToken(TokenText(), resolver));
  state.SetLabel(std::to_string(TokenText().size()) + " bytes");
}
BENCHMARK(ParseToken)->Unit(benchmark::kMicrosecond);

}  // namespace

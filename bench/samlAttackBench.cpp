#include <benchmark/benchmark.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/corvane/exception.h"
#include "sso/anchorKeyResolver.h"
#include "sso/parseToken.h"
#include "sso/responseHandler.h"
#include "sso/samlNames.h"
#include "sso/wsTrustNames.h"
#include "testing/sso/assertionFactory.h"

// Texts of 256 KiB that were made to cost as much as they can, as tokens and in answers of a token service:
// by strangers, and by the signer that is believed. None of them may take 10 ms.
namespace {

using namespace SsoClient;
namespace Security = Corvane::Xml::Security;

constexpr std::size_t kSize = 256 << 10;
// What the parser lets through, but for what each token has anyway.
constexpr std::size_t kMarkup = 15'500;

// As often as the size and the bound on markup let.
std::string Fill(const std::function<std::string(int)>& part, std::size_t size) {
  std::string filled;
  std::size_t markup = 0;
  for (int i = 0; markup < kMarkup && filled.size() + 64 <= size; ++i) {
    const auto next = part(i);
    if (filled.size() + next.size() > size) break;
    markup += static_cast<std::size_t>(
        std::count_if(next.begin(), next.end(), [](char c) { return c == '<' || c == '=' || c == '&'; }));
    filled += next;
  }
  return filled;
}

std::string Repeat(const std::string& text, std::size_t size) {
  return Fill([&](int) { return text; }, size);
}

// As Repeat, with a number that counts up.
std::string Count(const std::string& begin, const std::string& end, std::size_t size) {
  return Fill([&](int i) { return begin + std::to_string(i) + end; }, size);
}

std::string Nest(int depth, const std::function<std::string(int)>& tagEnd, const std::string& inner) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "<x" + tagEnd(i) + '>';
  text += inner;
  for (int i = 0; i < depth; ++i) text += "</x>";
  return text;
}

std::string Nest(int depth, const std::string& inner) {
  return Nest(
      depth, [](int) { return ""; }, inner);
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

const AssertionFactory::Identity& Signer() {
  static const auto signer = AssertionFactory::MakeIdentity();
  return signer;
}

const std::string& Token() {
  static const std::string token = AssertionFactory::MakeToken(Signer());
  return token;
}

std::string Insert(const std::string& behind, const std::string& text) {
  return Replace(Token(), behind, behind + text);
}

// What a shape comes to that is in the whole text.
std::string Signed(const std::string& statement) {
  return AssertionFactory::SignAssertion(
      Replace(AssertionFactory::BuildAssertion(), "<saml:AttributeStatement>",
              "<saml:AttributeStatement>" + statement),
      Signer());
}

std::string Values(const std::string& values) {
  return "<saml:Attribute Name=\"flood\">" + values + "</saml:Attribute>";
}

const std::string kExclusive = "http://www.w3.org/2001/10/xml-exc-c14n#";
const std::string kInclusive = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
const std::string kEnveloped =
    "<ds:Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/>";

std::string Inclusive(std::string text) {
  for (std::size_t at = 0; (at = text.find(kExclusive, at)) != std::string::npos;) {
    text.replace(at, kExclusive.size(), kInclusive);
  }
  return Replace(std::move(text), kEnveloped, "");
}

std::string Declarations(const std::string& prefix, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += " xmlns:" + prefix + std::to_string(i) + "='u:'";
  return text;
}

std::string PrefixList(const std::string& list) {
  return Replace(Token(), "<ds:Transform Algorithm=\"" + kExclusive + "\"/>",
                 "<ds:Transform Algorithm=\"" + kExclusive + "\"><InclusiveNamespaces xmlns=\"" + kExclusive +
                     "\" PrefixList=\"" + list + "\"/></ds:Transform>");
}

std::string ManyReferences(int count) {
  const auto token = Signed(Values(Count("<saml:AttributeValue>", "</saml:AttributeValue>", kSize)));
  const auto begin = token.find("<ds:Reference");
  const auto end = token.find("</ds:SignedInfo>");
  std::string text = token;
  for (int i = 1; i < count; ++i) text.insert(end, token.substr(begin, end - begin));
  return text;
}

std::vector<std::pair<std::string, std::string>> Shapes() {
  const std::string keyInfo = "<ds:KeyInfo>";
  const std::string statement = "<saml:AttributeStatement>";
  const auto declaring = [](int depth) { return Declarations("d" + std::to_string(depth) + "n", 60); };
  const auto one = [](int depth) { return Declarations("d" + std::to_string(depth) + "n", 1); };
  return {
      {"NestedKeyInfo", Inclusive(Insert(keyInfo, Nest(58, declaring, Repeat("<y/>", 50'000))))},
      {"NestedKeyInfoInScope", Inclusive(Insert(keyInfo, Nest(58, one, Repeat("<y/>", kSize - 10'000))))},
      {"AttributesOfOne", Insert("<saml:Assertion", Count(" a", "=''", kSize))},
      {"DeclarationsOfOne", Insert("<saml:Assertion", Count(" xmlns:a", "='u:'", kSize))},
      {"DeclarationsOfEach",
       Insert(statement, Fill([](int i) { return i < 4000 ? "<x xmlns:a='u:'/>" : "<x a=''/>"; }, kSize))},
      {"DeclarationsInScope", Insert(statement, Nest(50, one, Repeat("<saml:y/>", kSize - 10'000)))},
      {"ManyDeclarationsInScope", Insert(statement, Nest(50, declaring, Repeat("<saml:y/>", 150'000)))},
      {"AttributesOfEach", Insert(statement, Repeat("<x a='' b='' c='' d=''/>", kSize))},
      {"ClarkAttributes",
       Insert(statement, Repeat("<x saml:a='' saml:b='' saml:c='' saml:d='' saml:e=''/>", kSize))},
      {"PrefixList", PrefixList(Count("p", " ", kSize))},
      {"ManyReferences", ManyReferences(8)},
      {"Deep", Insert(statement, Nest(200, Repeat("<y/>", kSize)))},
      {"DeepEnough", Insert(statement, Nest(60, Repeat("<y/>", kSize)))},
      {"Siblings", Insert(statement, Repeat("<x/>", kSize))},
      {"Comments", Insert(statement, Repeat("<!---->", kSize))},
      {"Instructions", Insert(statement, Repeat("<?x?>", kSize))},
      {"CDataSections", Insert(statement, Repeat("<![CDATA[]]>", kSize))},
      {"References", Insert("<saml:Issuer>", Repeat("&lt;", kSize))},
      {"CharacterReferences", Insert("<saml:Issuer>", Repeat("&#9;", kSize))},
      {"ReferencesInAttribute",
       Replace(Token(), "Version=\"2.0\"", "Version=\"" + Repeat("&lt;", kSize) + "\"")},
      {"UndefinedEntities", Insert("<saml:Issuer>", Repeat("&x;", kSize))},
      {"UndefinedPrefixes", Insert(statement, Repeat("<p:x/>", kSize))},
      {"UndefinedAttributePrefixes", Insert(statement, Repeat("<x p:a='' p:b='' p:c=''/>", kSize))},
      {"TwiceTheAttribute", Insert(statement, Repeat("<x a='' a=''/>", kSize))},
      {"WrongEnds", Insert(statement, Repeat("<x></y>", kSize))},
      {"OpenTags", Insert(statement, Repeat("<x>", kSize))},
      {"LongNames", Insert(statement, Repeat("<" + std::string(40'000, 'x') + "/>", kSize))},
      {"RelativeNamespaces",
       Insert(statement, Fill([](int i) { return i < 4000 ? "<x xmlns='u'/>" : "<x/>"; }, kSize))},
      {"LongNamespace", Insert("<saml:Assertion", " xmlns:long='" + Repeat("%41/", kSize) + "'")},
      {"Identifiers", Insert(keyInfo, Repeat("<x id='_'/>", kSize))},
      {"Certificates",
       Insert(keyInfo, Repeat("<ds:X509Data><ds:X509Certificate>" + Signer().certificate->GetBase64() +
                                  "</ds:X509Certificate></ds:X509Data>",
                              kSize))},
      {"LongCertificate", Insert("<ds:X509Certificate>", Repeat("MIIB", kSize))},
      {"LongDigest", Insert("<ds:DigestValue>", Repeat("AAAA", kSize))},
      {"SignedText",
       Signed(Values("<saml:AttributeValue>" + Repeat("&gt;", 230'000) + "</saml:AttributeValue>"))},
      {"SignedQuotes", Signed("<saml:Attribute Name='" + Repeat("\"", kSize - 6'000) + "'/>")},
      {"SignedValues", Signed(Values(Repeat("<saml:AttributeValue>x</saml:AttributeValue>", kSize - 6'000)))},
      {"SignedAttributes",
       Signed(Values(Repeat("<saml:AttributeValue a='' b='' c='' d='' e='' f='' g=''>x</saml:AttributeValue>",
                            kSize - 6'000)))},
      {"SignedDeclarations",
       Signed(Values(Repeat("<saml:AttributeValue xmlns:x='u:x' x:a='' x:b='' x:c=''>x</saml:AttributeValue>",
                            kSize - 6'000)))},
      {"SignedComments", Signed(Repeat("<!---->", kSize - 6'000))},
  };
}

std::string Answer(const std::string& token) {
  return std::string("<S:Envelope xmlns:S='") + Names::kSoap + "' xmlns:t='" + Names::kTrust + '\'' +
         Declarations("scope", 50) + "><S:Body><t:RequestSecurityTokenResponse><t:TokenType>" +
         kAssertionNamespace + "</t:TokenType><t:RequestedSecurityToken>" + token +
         "</t:RequestedSecurityToken></t:RequestSecurityTokenResponse></S:Body></S:Envelope>";
}

template <typename Read>
void Run(benchmark::State& state, const Read& read) {
  std::string outcome = "taken";
  for (auto _ : state) {
    try {
      read();
    } catch (const Corvane::Exception& fault) {
      outcome = fault.GetText().substr(0, 90);
    }
  }
  state.SetLabel(outcome);
}

const bool kRegistered = [] {
  const auto resolver =
      MakeAnchorKeyResolver(Corvane::MakeRef<Security::TrustAnchors>(std::vector{Signer().certificate}));
  for (const auto& [name, text] : Shapes()) {
    benchmark::RegisterBenchmark(("Token/" + name).c_str(), [=, text = text](benchmark::State& state) {
      Run(state, [&] { ParseToken(text, resolver, 2 * kSize); });
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("Answer/" + name).c_str(), [=,
                                                              text = Answer(text)](benchmark::State& state) {
      Run(state, [&] { ResponseHandlerImpl(resolver, 8 * kSize).ReadNegotiationLeg(text); });
    })->Unit(benchmark::kMillisecond);
  }
  return true;
}();

}  // namespace

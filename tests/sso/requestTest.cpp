#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/corvane/dateTime.h"
#include "platform/corvane/exception.h"
#include "platform/corvane/stringUtil.h"
#include "sso/parseToken.h"
#include "sso/requestBuilder.h"
#include "sso/wsTrustNames.h"
#include "testing/sso/assertionFactory.h"

namespace {

using namespace SsoClient;

const AssertionFactory::Identity& Client() {
  static const auto client = AssertionFactory::MakeIdentity();
  return client;
}

std::shared_ptr<const SamlToken> Token(bool isBound) {
  AssertionFactory::AssertionSpec spec;
  spec.id = "_given";
  if (isBound) spec.holderCertificate = Client().certificate->GetBase64();
  return ParseAssertion(AssertionFactory::MakeToken(Client(), spec));
}

TokenSpec Spec(std::int64_t lifetime = 300) {
  TokenSpec spec;
  spec.tokenLifetimeSec = lifetime;
  return spec;
}

// Each text between an opening and the next closing.
void ReplaceBetween(std::string& text, std::string_view opening, std::string_view closing,
                    std::string_view word) {
  for (auto at = text.find(opening); at != std::string::npos; at = text.find(opening, at + 1)) {
    const auto begin = at + opening.size();
    text.replace(begin, text.find(closing, begin) - begin, word);
  }
}

// What differs each time, and what is long, in short words.
std::string Shorten(std::string text) {
  ReplaceBetween(text, "<saml:Assertion", "/saml:Assertion>", "");
  ReplaceBetween(text, "<ds:Signature", "<ds:KeyInfo>", "");
  ReplaceBetween(text, "<wsu:Created>", "</", "TIME");
  ReplaceBetween(text, "<wsu:Expires>", "</", "TIME");
  ReplaceBetween(text, "utility-1.0.xsd\" wsu:Id=\"", "\"", "UUID");
  ReplaceBetween(text, "urn:uuid:", "\"", "UUID");
  ReplaceBetween(text, "holderOfKeyCertificate\">", "<", "CERTIFICATE");
  const std::vector<std::pair<std::string_view, std::string_view>> words = {
      {"<saml:Assertion/saml:Assertion>", "TOKEN"},
      {"<ds:Signature<ds:KeyInfo>", "<SIGNED><ds:KeyInfo>"},
      {"http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-", "WSS:"},
      {"http://docs.oasis-open.org/ws-sx/ws-trust/200512", "TRUST:"}};
  for (const auto& [name, word] : words) {
    for (auto at = text.find(name); at != std::string::npos; at = text.find(name)) {
      text.replace(at, name.size(), word);
    }
  }
  return text;
}

constexpr char kHead[] =
    R"(<soapenv:Envelope xmlns:soapenv="http://schemas.xmlsoap.org/soap/envelope/"><soapenv:Header>)"
    R"(<wsse:Security xmlns:wsse="WSS:wssecurity-secext-1.0.xsd" xmlns:wsu="WSS:wssecurity-utility-1.0.xsd">)";
constexpr char kTimestamp[] =
    "<wsu:Timestamp><wsu:Created>TIME</wsu:Created><wsu:Expires>TIME</wsu:Expires></wsu:Timestamp>";
constexpr char kSignedTimestamp[] =
    R"(<wsu:Timestamp xmlns:wsu="WSS:wssecurity-utility-1.0.xsd" wsu:Id="UUID"><wsu:Created>TIME</wsu:Created>)"
    "<wsu:Expires>TIME</wsu:Expires></wsu:Timestamp>";
constexpr char kBody[] = R"(</wsse:Security></soapenv:Header><soapenv:Body xmlns:wst="TRUST:">)";
constexpr char kSignedBody[] =
    R"(</wsse:Security></soapenv:Header><soapenv:Body xmlns:wst="TRUST:" xmlns:wsu="WSS:wssecurity-utility-1.0.xsd" )"
    R"(wsu:Id="UUID">)";
constexpr char kEnd[] = "</soapenv:Body></soapenv:Envelope>";
constexpr char kLifetime[] =
    R"(<wst:Lifetime xmlns:wsu="WSS:wssecurity-utility-1.0.xsd"><wsu:Created>TIME</wsu:Created>)"
    "<wsu:Expires>TIME</wsu:Expires></wst:Lifetime>";
constexpr char kCertificate[] =
    R"(<wsse:BinarySecurityToken xmlns:wsu="WSS:wssecurity-utility-1.0.xsd" )"
    R"(EncodingType="WSS:soap-message-security-1.0#Base64Binary" ValueType="WSS:x509-token-profile-1.0#X509v3" )"
    R"(wsu:Id="holderOfKeyCertificate">CERTIFICATE</wsse:BinarySecurityToken><SIGNED><ds:KeyInfo>)"
    R"(<wsse:SecurityTokenReference xmlns:wsse="WSS:wssecurity-secext-1.0.xsd">)"
    R"(<wsse:Reference URI="#holderOfKeyCertificate" ValueType="WSS:x509-token-profile-1.0#X509v3"/>)"
    "</wsse:SecurityTokenReference></ds:KeyInfo></ds:Signature>";
constexpr char kUseKey[] = R"(<wst:UseKey Sig="holderOfKeyProofSignature"/>)";

// The part of an issue request that every one has.
std::string Issue(const char* keyType, const char* context = "", const char* flag = "false") {
  return std::string(R"(<wst:RequestSecurityToken xmlns:wst="TRUST:" )") +
         R"(xmlns:wst14="http://docs.oasis-open.org/ws-sx/ws-trust/200802")" + context +
         "><wst:TokenType>urn:oasis:names:tc:SAML:2.0:assertion</wst:TokenType><wst:RequestType>TRUST:/Issue"
         "</wst:RequestType><wst:KeyType>TRUST:/" +
         keyType + "</wst:KeyType>" + kLifetime + R"(<wst:Renewing Allow=")" + flag +
         R"(" OK="false"/><wst:Delegatable>)" + flag + "</wst:Delegatable>";
}
constexpr char kRequestEnd[] = "</wst:RequestSecurityToken>";
constexpr char kUser[] =
    R"(<wsse:UsernameToken xmlns:wsse="WSS:wssecurity-secext-1.0.xsd"><wsse:Username>u&amp;&lt;&gt;"'</wsse:Username>)"
    R"(<wsse:Password Type="WSS:username-token-profile-1.0#PasswordText">a&#13;)"
    "\n\xc3\xa9</wsse:Password></wsse:UsernameToken>";
constexpr char kDelegate[] =
    R"(<wst:DelegateTo><wsse:UsernameToken xmlns:wsse="WSS:wssecurity-secext-1.0.xsd"><wsse:Username>bob@d</wsse:Username>)"
    "</wsse:UsernameToken></wst:DelegateTo>";
constexpr char kExchange[] =
    R"(<wst:BinaryExchange EncodingType="WSS:soap-message-security-1.0#Base64Binary" )"
    R"(ValueType="http://schemas.xmlsoap.org/ws/2005/02/trust/spnego">bGVn</wst:BinaryExchange>)";

TEST(RequestTest, TextOfEveryOperation) {
  RequestBuilderImpl plain;
  RequestBuilderImpl holder(HolderOfKeyConfig{Client().certificate, Client().key});
  auto full = Spec();
  full.audienceRestriction = {"urn:b", "urn:a\"<"};
  full.advice = {{"source", {{"n1", {"v1", "v2"}, "", ""}, {"n2", {}, "", ""}}}};
  full.delegable = full.renewable = true;
  full.actAs = Token(false);
  full.delegateTo = "bob@d";
  auto bearer = Spec();
  bearer.confirmationType = static_cast<Confirmation>(7);
  auto delegated = Spec();
  delegated.delegateTo = "bob@d";
  const std::string password = "a\r\n\xc3\xa9";
  const std::string proof = std::string(kHead) + kSignedTimestamp;
  const std::string open = std::string(kHead) + kTimestamp;
  const auto context = R"( Context="urn:uuid:UUID")";

  struct Case {
    const char* action;
    std::function<std::string(std::string&)> build;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"/RST/Issue", [&](auto& action) { return plain.BuildAcquireToken("u&<>\"'", password, full, action); },
       open + kUser + kBody + Issue("Bearer", "", "true") + kDelegate + "<wst14:ActAs>TOKEN</wst14:ActAs>" +
           R"(<wst:Participants xmlns:wsa="http://www.w3.org/2005/08/addressing"><wst:Participant>)"
           R"(<wsa:EndpointReference><wsa:Address>urn:a"&lt;</wsa:Address></wsa:EndpointReference></wst:Participant>)"
           "<wst:Participant><wsa:EndpointReference><wsa:Address>urn:b</wsa:Address></wsa:EndpointReference>"
           "</wst:Participant></wst:Participants><rsa-advice:AdviceSet "
           R"(xmlns:rsa-advice="http://www.tessaly.com/names/2009/12/std-ext/WS-Trust1.4/advice" )"
           R"(xmlns:saml="urn:oasis:names:tc:SAML:2.0:assertion" xmlns:xs="http://www.w3.org/2001/XMLSchema" )"
           R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"><rsa-advice:Advice AdviceSource="source">)"
           R"(<rsa-advice:Attribute Name="n1"><rsa-advice:AttributeValue xsi:type="xs:string">v1</rsa-advice:AttributeValue>)"
           R"(<rsa-advice:AttributeValue xsi:type="xs:string">v2</rsa-advice:AttributeValue></rsa-advice:Attribute>)"
           R"(<rsa-advice:Attribute Name="n2"/></rsa-advice:Advice></rsa-advice:AdviceSet>)" +
           kRequestEnd + kEnd},
      {"/RST/Issue",
       [&](auto& action) { return holder.BuildAcquireToken("u&<>\"'", password, Spec(), action); },
       proof + kUser + kCertificate + kSignedBody + Issue("PublicKey") + kUseKey + kRequestEnd + kEnd},
      {"/RST/Issue",
       [&](auto& action) { return holder.BuildAcquireToken("u&<>\"'", password, bearer, action); },
       open + kUser + kBody + Issue("Bearer") + kRequestEnd + kEnd},
      {"/RST/Issue",
       [&](auto& action) { return holder.BuildAcquireToken("u&<>\"'", password, delegated, action); },
       open + kUser + kBody + Issue("PublicKey") + kDelegate + kRequestEnd + kEnd},
      {"/RST/Issue", [&](auto& action) { return plain.BuildAcquireTokenByGss(Spec(), "leg", action); },
       open + kBody + Issue("Bearer", context) + kExchange + kRequestEnd + kEnd},
      {"/RST/Issue", [&](auto& action) { return holder.BuildAcquireTokenByGss(Spec(), "leg", action); },
       proof + kCertificate + kSignedBody + Issue("PublicKey", context) + kUseKey + kExchange + kRequestEnd +
           kEnd},
      {"/RSTR/Issue", [&](auto& action) { return holder.BuildContinueGss("urn:\"&", "leg", action); },
       open + kBody + R"(<wst:RequestSecurityTokenResponse Context="urn:&quot;&amp;">)" + kExchange +
           "</wst:RequestSecurityTokenResponse>" + kEnd},
      {"/RST/Issue", [&](auto& action) { return holder.BuildAcquireTokenByCertificate(Spec(), action); },
       proof + kCertificate + kSignedBody + Issue("PublicKey") + kUseKey + kRequestEnd + kEnd},
      {"/RST/Issue", [&](auto& action) { return holder.BuildAcquireTokenByCertificate(delegated, action); },
       proof + kCertificate + kSignedBody + Issue("PublicKey") + kDelegate + kRequestEnd + kEnd},
      {"/RST/Issue",
       [&](auto& action) { return holder.BuildAcquireTokenByToken(*Token(true), bearer, action); },
       proof + "TOKEN<SIGNED><ds:KeyInfo>" +
           R"(<wsse:SecurityTokenReference xmlns:wsse="WSS:wssecurity-secext-1.0.xsd" )"
           R"(xmlns:wsse11="http://docs.oasis-open.org/wss/oasis-wss-wssecurity-secext-1.1.xsd" )"
           R"(wsse11:TokenType="http://docs.oasis-open.org/wss/oasis-wss-saml-token-profile-1.1#SAMLV2.0">)"
           R"(<wsse:KeyIdentifier ValueType="http://docs.oasis-open.org/wss/oasis-wss-saml-token-profile-1.1#SAMLID">)"
           "_given</wsse:KeyIdentifier></wsse:SecurityTokenReference></ds:KeyInfo></ds:Signature>" +
           kSignedBody + Issue("Bearer") + kRequestEnd + kEnd},
      {"/RST/Validate", [&](auto& action) { return holder.BuildValidateToken(*Token(false), action); },
       open + kBody +
           R"(<wst:RequestSecurityToken xmlns:wst="TRUST:"><wst:TokenType>TRUST:/RSTR/Status</wst:TokenType>)"
           "<wst:RequestType>TRUST:/Validate</wst:RequestType><wst:ValidateTarget>TOKEN</"
           "wst:ValidateTarget>" +
           kRequestEnd + kEnd},
      {"/RST/Renew", [&](auto& action) { return holder.BuildRenewToken(*Token(true), 60, action); },
       proof + kCertificate + kSignedBody +
           R"(<wst:RequestSecurityToken xmlns:wst="TRUST:"><wst:TokenType>urn:oasis:names:tc:SAML:2.0:assertion)"
           "</wst:TokenType><wst:RequestType>TRUST:/Renew</wst:RequestType>" +
           kLifetime + "<wst:RenewTarget>TOKEN</wst:RenewTarget>" + kRequestEnd + kEnd},
  };
  for (const auto& [action, build, expected] : cases) {
    std::string got;
    EXPECT_EQ(Shorten(build(got)), expected);
    EXPECT_EQ(got, std::string(Names::kTrust) + action);
  }
}

TEST(RequestTest, TokensGoAsTheyAreAndTimesAreThoseAskedFor) {
  std::string action;
  const auto token = Token(true);
  const auto text = RequestBuilderImpl().BuildValidateToken(*token, action);
  EXPECT_NE(text.find("<wst:ValidateTarget>" + token->GetText() + "</wst:ValidateTarget>"),
            std::string::npos);
  const auto secondsOf = [](const std::string& request, const std::string& element) {
    const auto at = request.find("<" + element);
    const auto timeBehind = [&](std::string_view tag) {
      const auto begin = request.find(tag, at) + tag.size();
      return Corvane::System::DateTime::Parse(request.substr(begin, request.find('<', begin) - begin))
          .GetUtcTime();
    };
    const auto created = timeBehind("<wsu:Created>");
    EXPECT_LT(std::abs(Corvane::System::GetUtcDateTime().GetUtcTime() - created), 60'000'000);
    return (timeBehind("<wsu:Expires>") - created) / 1'000'000;
  };
  const auto request = RequestBuilderImpl().BuildAcquireToken("u", "p", Spec(86400), action);
  EXPECT_EQ(secondsOf(request, "wsu:Timestamp"), 600);
  EXPECT_EQ(secondsOf(request, "wst:Lifetime"), 86400);
  const auto eternal = RequestBuilderImpl().BuildAcquireToken("u", "p", Spec(INT64_MAX), action);
  EXPECT_NE(eternal.find("<wsu:Expires>9999-12-31T23:59:59"), std::string::npos);
}

TEST(RequestTest, WhatIsRefused) {
  using Corvane::InvalidArgumentException;
  using Corvane::InvalidStateException;
  RequestBuilderImpl plain;
  RequestBuilderImpl holder(HolderOfKeyConfig{Client().certificate, Client().key});
  std::string action;
  auto bearer = Spec();
  bearer.confirmationType = CONFIRMATION_BEARER;
  const auto reasonOf = [](const std::function<void()>& build) -> std::string {
    try {
      build();
    } catch (const InvalidArgumentException& fault) {
      return "argument: " + fault.GetText();
    } catch (const InvalidStateException& fault) {
      return "state: " + fault.GetText();
    }
    return "made";
  };
  const std::string lifetime = "argument: Token lifetime must be positive";
  const std::string noKey = "state: No HolderOfKeyConfig provided. Unable to ";
  const auto withPassword = [&](const char* password) {
    return reasonOf([&] { plain.BuildAcquireToken("u", password, Spec(), action); });
  };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {reasonOf([&] { plain.BuildAcquireToken("u", "p", Spec(0), action); }), lifetime},
      {reasonOf([&] { plain.BuildAcquireTokenByGss(Spec(-1), "", action); }), lifetime},
      {reasonOf([&] { plain.BuildAcquireTokenByCertificate(Spec(0), action); }), lifetime},
      {reasonOf([&] { plain.BuildAcquireTokenByToken(*Token(true), Spec(0), action); }), lifetime},
      {reasonOf([&] { plain.BuildRenewToken(*Token(false), 0, action); }), lifetime},
      {reasonOf([&] { plain.BuildAcquireTokenByCertificate(bearer, action); }),
       noKey + "acquire token by certificate"},
      {reasonOf([&] { plain.BuildAcquireTokenByToken(*Token(true), Spec(), action); }),
       noKey + "acquire token by token"},
      {reasonOf([&] { plain.BuildRenewToken(*Token(false), 1, action); }), noKey + "renew token"},
      {reasonOf([&] { holder.BuildAcquireTokenByCertificate(bearer, action); }),
       "argument: TokenSpec::confirmation must be CONFIRMATION_DEFAULT for acquire token by certificate"},
      {reasonOf([&] { holder.BuildRenewToken(*Token(false), 1, action); }),
       "argument: Unable to renew token: the provided token must be Holder Of Key"},
      {reasonOf([&] {
         RequestBuilderImpl(HolderOfKeyConfig{Client().certificate, AssertionFactory::MakeIdentity().key});
       }),
       "argument: The client's key must be an RSA key, and its certificate's"},
  };
  for (const auto& [reason, expected] : cases) EXPECT_EQ(reason, expected);
  // Truncated, overlong, a surrogate, past the last character, no character, and control characters.
  for (const char* password : {"s3cret\xc3", "s3cret\xc0\xaf", "s3cret\xed\xa0\x80", "s3cret\xf4\x90\x80\x80",
                               "s3cret\xef\xbf\xbf", "s3cret\x01", "s3cret\xff"}) {
    EXPECT_EQ(withPassword(password),
              "argument: The text of wsse:Password has bytes or characters that XML can't carry");
  }
  EXPECT_EQ(withPassword("\xf0\x9f\x94\x91\xed\x9f\xbf\t\x7f"), "made");
}

TEST(RequestTest, SpecAsText) {
  auto spec = Spec(60);
  EXPECT_EQ(spec.ToText(),
            "TokenSpec [tokenLifetimeSec=60, delegable=false, delegateTo=, renewable=false, "
            "confirmationType=0,audienceRestriction=[], advice=[]");
  spec.audienceRestriction = {"a", "b\n"};
  spec.advice = {{"s", {{"n", {"1", "2"}, "", ""}}}};
  spec.delegable = spec.renewable = true;
  spec.delegateTo = "bob@d";
  spec.confirmationType = CONFIRMATION_BEARER;
  EXPECT_EQ(spec.ToText(),
            "TokenSpec [tokenLifetimeSec=60, delegable=true, delegateTo=bob@d, renewable=true, "
            "confirmationType=1,audienceRestriction=[a, b\\n], advice=[s: n=[1, 2]]");
}

}  // namespace

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <typeinfo>
#include <vector>

#include "platform/corvane/stringUtil.h"
#include "sso/anchorKeyResolver.h"
#include "sso/responseHandler.h"
#include "sso/samlNames.h"
#include "sso/ssoExceptions.h"
#include "sso/wsTrustNames.h"
#include "testing/sso/assertionFactory.h"

namespace {

using namespace SsoClient;

// The prefixes are declared on the root alone, as services do.
std::string Envelope(const std::string& bodies) {
  return std::string("<S:Envelope xmlns:S=\"") + Names::kSoap + "\" xmlns:t=\"" + Names::kTrust +
         "\" xmlns:sec=\"" + Names::kSecurity + "\">" + bodies + "</S:Envelope>";
}
std::string Body(const std::string& content) {
  return Envelope("<S:Body>" + content + "</S:Body>");
}
std::string FaultBody(const std::string& parts) {
  return Body("<S:Fault>" + parts + "</S:Fault>");
}
std::string Element(const std::string& name, const std::string& content, const std::string& attributes = "") {
  return "<t:" + name + attributes + ">" + content + "</t:" + name + ">";
}
std::string Answer(const std::string& content, const std::string& attributes = "") {
  return Element("RequestSecurityTokenResponse", content, attributes);
}
std::string Collection(const std::string& content) {
  return Element("RequestSecurityTokenResponseCollection", content);
}
std::string Requested(const std::string& token) {
  return Element("RequestedSecurityToken", token);
}
std::string Status(const std::string& code) {
  return Body(Answer(Element("Status", Element("Code", code))));
}

class ResponseTest : public testing::Test {
 protected:
  // The name of the exception and its text.
  std::string Reason(const std::function<void()>& read) {
    try {
      read();
    } catch (const InvalidCredentialsException& fault) {
      return "credentials: " + fault.GetText();
    } catch (const SsoException& fault) {
      return typeid(fault) == typeid(SsoException) ? "sso: " + fault.GetText() : "another";
    } catch (const ParseException& fault) {
      return "parse: " + fault.GetText();
    } catch (const InvalidSignatureException& fault) {
      return "signature: " + fault.GetText();
    }
    return "none";
  }

  const AssertionFactory::Identity signer_ = AssertionFactory::MakeIdentity();
  const std::string token_ = AssertionFactory::MakeToken(signer_);
  ResponseHandlerImpl handler_{MakeAnchorKeyResolver(Corvane::Ref<Corvane::Xml::Security::TrustAnchors>(
      new Corvane::Xml::Security::TrustAnchors({signer_.certificate})))};
};

TEST_F(ResponseTest, FaultsAndBrokenAnswersInEveryOperation) {
  const std::string unexpected = "sso: Unexpected SOAP fault: why; request failed.";
  const auto fault = [](const std::string& code) {
    return FaultBody("<faultcode>" + code + "</faultcode><faultstring> why\n</faultstring>");
  };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"<a>", "sso: Response is not well-formed XML: "},
      {"", "sso: Response is not well-formed XML: "},
      {"<!DOCTYPE a><a/>", "sso: Response is not well-formed XML: "},
      {"<a/>", "sso: Unexpected response format: missing SAOP Body."},
      {Envelope(""), "sso: Unexpected response format: missing SAOP Body."},
      {Envelope("<Body/><t:Body/>"), "sso: Unexpected response format: missing SAOP Body."},
      {Envelope("<S:Header><S:Body/></S:Header>"), "sso: Unexpected response format: missing SAOP Body."},
      {Envelope("<S:Body/><S:Body/>"), "sso: Unexpected response format: more than one Body."},
      {FaultBody("<faultstring>why</faultstring>"), "sso: Invalid SOAP response: missing faultcode."},
      {Body("<S:Fault/><S:Fault/>"), "sso: Invalid SOAP response: more than one Fault."},
      {FaultBody("<faultcode>S:a</faultcode><faultcode>S:b</faultcode>"),
       "sso: Invalid SOAP response: a part of the fault is there twice."},
      {fault("x:Client"), "parse: Element faultcodeat line 1 uses undefined prefix: `x'"},
      {fault("t:FailedAuthentication"), "credentials: Authentication failed: why"},
      {fault("\n t:InvalidSecurityToken "), "credentials: Authentication failed: why"},
      {fault("sec:InvalidSecurityToken"), "credentials: Authentication failed: why"},
      {fault("sec:FailedAuthentication"), unexpected},
      {fault("S:FailedAuthentication"), unexpected},
      {fault("t:RequestFailed"), unexpected},
      {fault("FailedAuthentication"), unexpected},
      // The default namespace is not that of a name without a prefix; the nearest declaration counts.
      {FaultBody(std::string("<faultcode xmlns:t=\"urn:other\">t:FailedAuthentication</faultcode>") +
                 "<faultstring>why</faultstring>"),
       unexpected},
      {Body(std::string("<S:Fault xmlns=\"") + Names::kSoap +
            "\"><faultcode>InvalidSecurityToken</faultcode><faultstring>why</faultstring></S:Fault>"),
       unexpected},
      {FaultBody(std::string("<faultcode xmlns:q=\"") + Names::kTrust +
                 "\">q:FailedAuthentication</faultcode><faultstring>two\nlines</faultstring>"),
       "credentials: Authentication failed: two\\nlines"},
      {FaultBody("<faultcode>t:FailedAuthentication</faultcode>"), "credentials: Authentication failed: "},
  };
  for (const auto& one : cases) {
    const auto& answer = one.first;
    const auto& expected = one.second;
    for (const auto& reason :
         {Reason([&] { handler_.ReadAcquiredToken(answer); }),
          Reason([&] { handler_.ReadRenewedToken(answer); }), Reason([&] { handler_.ReadVerdict(answer); }),
          Reason([&] { handler_.ReadFault(answer); }),
          Reason([&] { handler_.ReadNegotiationLeg(answer); })}) {
      // The XML library's own words may follow.
      EXPECT_EQ(expected.ends_with("XML: ") ? reason.substr(0, expected.size()) : reason, expected) << answer;
    }
  }
}

TEST_F(ResponseTest, TokensInTheirTwoShapes) {
  const auto direct = Body(Answer(Requested(token_)));
  const auto collected = Body("\n<!-- -->" + Collection(Answer(Requested(token_))));
  EXPECT_EQ(handler_.ReadRenewedToken(direct)->GetSubject().name, "admin");
  const auto token = handler_.ReadAcquiredToken(collected);
  EXPECT_EQ(token->GetSubject().name, "admin");
  EXPECT_NE(token->GetText().find("xmlns:sec="), std::string::npos) << "what is in scope is kept";
  EXPECT_EQ(ParseToken(token->GetText(), [this](const SamlToken&) { return signer_.key; })->GetId(),
            token->GetId());

  const std::string format = "sso: Unexpected XML format";
  EXPECT_EQ(Reason([&] { handler_.ReadAcquiredToken(direct); }), format);
  EXPECT_EQ(Reason([&] { handler_.ReadRenewedToken(collected); }), format);
  for (const auto& content :
       {std::string(), Answer(""), Answer(Requested("")), Answer(Requested(token_ + token_)),
        Answer(Requested(token_) + Requested(token_)), Answer(Requested(token_)) + Answer(Requested(token_)),
        Answer(Requested(Requested(token_))), Answer(Requested("<Assertion/>"))}) {
    EXPECT_EQ(Reason([&] { handler_.ReadRenewedToken(Body(content)); }), format) << content;
    EXPECT_EQ(Reason([&] { handler_.ReadAcquiredToken(Body(Collection(content))); }), format) << content;
  }
  EXPECT_TRUE(Reason([&] {
                handler_.ReadRenewedToken(Body(Answer(Requested(std::string("<a:Assertion xmlns:a='") +
                                                                kAssertionNamespace + "' xmlns:b='c?'/>"))));
              }).starts_with("sso: The assertion has no canonical form: "))
      << "a relative namespace";
  auto forged = direct;
  forged.replace(forged.find("admin@"), 5, "nobod");
  EXPECT_EQ(Reason([&] { handler_.ReadRenewedToken(forged); }),
            "signature: Failed to verify signature: token might have been tampered with.");
  const auto stranger = AssertionFactory::MakeIdentity();
  EXPECT_EQ(Reason([&] {
              handler_.ReadRenewedToken(Body(Answer(Requested(AssertionFactory::MakeToken(stranger)))));
            }),
            "signature: The token's signer is not trusted.");
  // Who doesn't say has to be one of those that are trusted.
  const auto unnamed = [](const AssertionFactory::Identity& signer) {
    return Body(Answer(Requested(AssertionFactory::SignAssertion(AssertionFactory::BuildAssertion(), signer,
                                                                 {.withCertificate = false}))));
  };
  EXPECT_EQ(handler_.ReadRenewedToken(unnamed(signer_))->GetSubject().name, "admin");
  EXPECT_EQ(Reason([&] { handler_.ReadRenewedToken(unnamed(stranger)); }),
            "signature: The token's signer is not trusted.");
  const auto large =
      AssertionFactory::MakeToken(signer_, {.groups = {"d\\" + std::string(kLargestToken, 'g')}});
  EXPECT_EQ(Reason([&] { handler_.ReadRenewedToken(Body(Answer(Requested(large)))); }),
            "parse: Token is not well-formed XML: line 1, column 1: the text is larger than 65536 bytes");
}

TEST_F(ResponseTest, Verdicts) {
  EXPECT_TRUE(handler_.ReadVerdict(Status(std::string("\n ") + Names::kStatusValid)));
  EXPECT_FALSE(handler_.ReadVerdict(Status(Names::kStatusInvalid)));
  for (const auto& answer :
       {Status(""), Status("valid"), Status(std::string(Names::kStatusValid) + "x"),
        Status("<a/>" + std::string(Names::kStatusValid)), Body(""), Body(Answer("")),
        Body(Collection(Answer(Element("Status", Element("Code", Names::kStatusValid)))))}) {
    EXPECT_EQ(Reason([&] { handler_.ReadVerdict(answer); }).substr(0, 15), "sso: Unexpected") << answer;
  }
}

TEST_F(ResponseTest, NegotiationLegs) {
  const auto exchange = [](const std::string& text) { return Element("BinaryExchange", text); };
  const auto leg =
      handler_.ReadNegotiationLeg(Body(Answer(exchange("\n bGVn\n AA==\n"), " Context=\"urn:c\"")));
  EXPECT_EQ(leg.contextId, "urn:c");
  EXPECT_EQ(leg.leg, std::string("leg\0", 4));
  EXPECT_FALSE(leg.token);

  const auto type = Element("TokenType", "urn:oasis:names:tc:SAML:2.0:assertion");
  const auto last = handler_.ReadNegotiationLeg(Body(Collection(Answer(type + Requested(token_)))));
  EXPECT_EQ(last.token->GetSubject().name, "admin");
  EXPECT_TRUE(!last.leg && last.contextId.empty());
  const auto nothing = handler_.ReadNegotiationLeg(Body(Answer(Requested(""))));
  EXPECT_TRUE(!nothing.leg && !nothing.token);

  const std::vector<std::pair<std::string, std::string>> cases = {
      {Answer(exchange("bGVn=")), "sso: Base64 format exception"},
      {Answer(exchange("!")), "sso: Base64 format exception"},
      {Answer(exchange("bGVn") + exchange("bGVn")), "sso: Unexpected XML format"},
      {Answer("") + Answer(""), "sso: Unexpected XML format"},
      {"", "sso: Unexpected XML format"},
      {Answer(Element("TokenType", "urn:x") + Requested(token_)),
       "sso: Invalid token type: urn:x (expected: urn:oasis:names:tc:SAML:2.0:assertion"},
      {Answer(Requested(token_)),
       "sso: Invalid token type:  (expected: urn:oasis:names:tc:SAML:2.0:assertion"},
  };
  for (const auto& [part, expected] : cases) {
    const auto answer = Body(part);
    EXPECT_EQ(Reason([&] { handler_.ReadNegotiationLeg(answer); }), expected) << answer;
  }
}

}  // namespace

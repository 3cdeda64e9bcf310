#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "sso/parseToken.h"
#include "sso/ssoExceptions.h"
#include "testing/sso/assertionFactory.h"
#include "tools/tokenView.h"

namespace {

using namespace SsoClient;
using Corvane::System::DateTime;

const std::string kUpn = R"(<a:NameID Format="http://schemas.xmlsoap.org/claims/UPN">)";
const std::string kSubjectData = R"(<a:SubjectConfirmationData NotOnOrAfter="2026-11-24T11:00:00Z"/>)";
const std::string kKeyData =
    R"(<a:SubjectConfirmationData xsi:type="a:KeyInfoConfirmationDataType"><d:KeyInfo><d:X509Data>)"
    R"(<d:X509Certificate>QUJD</d:X509Certificate></d:X509Data></d:KeyInfo></a:SubjectConfirmationData>)";
const std::string kDelegation =
    R"(<a:Condition xsi:type="l:DelegationRestrictionType"><l:Delegate DelegationInstant="2026-11-24T10:10:00Z">)" +
    kUpn + R"(first@d</a:NameID></l:Delegate><l:Delegate DelegationInstant="2026-11-24T10:20:00Z">)" + kUpn +
    R"(last@d</a:NameID></l:Delegate></a:Condition>)";
const std::string kRenew =
    R"(<a:Condition xsi:type="v:RenewRestrictionType" Count="3" Postdatable="false" RenewExpired="1"/>)";
const std::string kAudience = "<a:AudienceRestriction><a:Audience>one</a:Audience></a:AudienceRestriction>";
const std::string kProxy = R"(<a:ProxyRestriction Count="2"/>)";
const std::string kAdvice =
    R"(<a:Advice><v:RSAAdvice AdviceSource="src"><a:Attribute Name="n"><a:AttributeValue>x</a:AttributeValue>)"
    R"(</a:Attribute></v:RSAAdvice></a:Advice>)";
const std::string kAuthn =
    R"(<a:AuthnStatement AuthnInstant="2026-11-24T10:00:00Z"><a:AuthnContext><a:AuthnContextClassRef>pw)"
    R"(</a:AuthnContextClassRef></a:AuthnContext></a:AuthnStatement>)";
const std::string kGroups =
    R"(<a:Attribute Name="http://www.tessaly.com/schemas/attr-names/2009/01/GroupIdentity" FriendlyName="Groups")"
    R"( NameFormat="f"><a:AttributeValue xsi:type="s">d\a\b</a:AttributeValue></a:Attribute>)";
const std::string kSolution =
    R"(<a:Attribute Name="http://www.tessaly.com/schemas/attr-names/2011/07/isSolution"><a:AttributeValue>true)"
    R"(</a:AttributeValue></a:Attribute>)";
const std::string kSignature =
    R"(<d:Signature><d:SignedInfo><d:CanonicalizationMethod Algorithm="c"/><d:SignatureMethod Algorithm="s"/>)"
    R"(<d:Reference URI="#_t"><d:DigestMethod Algorithm="d"/><d:DigestValue>AA==</d:DigestValue></d:Reference>)"
    R"(</d:SignedInfo><d:SignatureValue>AA==</d:SignatureValue></d:Signature>)";

// Everything that a bearer token may hold. Its signature has the right shape, and no more than that.
const std::string kToken =
    R"(<a:Assertion Version="2.0" ID="_t" IssueInstant="2026-11-24T10:00:00Z")"
    R"( xmlns:a="urn:oasis:names:tc:SAML:2.0:assertion" xmlns:l="urn:oasis:names:tc:SAML:2.0:conditions:delegation")"
    R"( xmlns:d="http://www.w3.org/2000/09/xmldsig#" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
    R"( xmlns:v="http://www.tessaly.com/names/2009/12/std-ext/SAML2.0"><a:Issuer>sts</a:Issuer>)" +
    kSignature + "<a:Subject>" + kUpn +
    R"(n@m@d</a:NameID><a:SubjectConfirmation Method="urn:oasis:names:tc:SAML:2.0:cm:bearer">)" + kUpn +
    "last@d</a:NameID>" + kSubjectData +
    R"(</a:SubjectConfirmation></a:Subject><a:Conditions NotBefore="2026-11-24T10:00:00Z")"
    R"( NotOnOrAfter="2026-11-24T11:00:00Z">)" +
    kDelegation + kAudience + kProxy + kRenew + "</a:Conditions>" + kAdvice + kAuthn +
    "<a:AttributeStatement>" + kGroups + kSolution + "</a:AttributeStatement></a:Assertion>";

struct Change {
  std::string from;
  std::string to;
};

std::string Apply(std::string text, const std::vector<Change>& changes) {
  for (const auto& [from, to] : changes) {
    const std::size_t position = text.find(from);
    if (position == std::string::npos) throw std::logic_error("no " + from);
    text.replace(position, from.size(), to);
  }
  return text;
}

std::string Fault(const std::string& text, const DateTime& now = DateTime::Parse("2026-11-24T10:30:00Z")) {
  try {
    ValidateToken(*ParseAssertion(text), now);
    return "";
  } catch (const ParseException& fault) {
    return fault.GetText();
  }
}

const Change kToHolderOfKey{"cm:bearer", "cm:holder-of-key"};
const Change kToKeyData{kSubjectData, kKeyData};

TEST(TokenTest, ReadsEveryPart) {
  const auto token = ParseAssertion(kToken);
  EXPECT_EQ(token->GetText(), kToken);
  EXPECT_EQ(token->GetId(), "_t");
  EXPECT_EQ(token->GetIssuer(), "sts");
  EXPECT_EQ(token->GetSubject(), (Subject{"n@m", "d"}));
  EXPECT_EQ(token->GetConfirmationType(), ConfirmationType::Bearer);
  EXPECT_EQ(token->GetDelegateId(), (Subject{"last", "d"}));
  EXPECT_EQ(token->GetSubjectNotOnOrAfter()->ToShortStringBias(), "2026-11-24T11:00:00.000Z");
  EXPECT_EQ(token->GetNotBefore().ToShortStringBias(), "2026-11-24T10:00:00.000Z");
  ASSERT_EQ(token->GetDelegationChain().size(), 2u);
  EXPECT_EQ(token->GetDelegationChain()[0].subject.name, "first");
  EXPECT_EQ(token->GetDelegationChain()[1].instant.ToShortStringBias(), "2026-11-24T10:20:00.000Z");
  EXPECT_EQ(token->GetAudienceRestriction(), std::set<std::string>{"one"});
  EXPECT_EQ(token->GetProxyRestrictionCount(), 2u);
  EXPECT_EQ(token->GetRenewRestriction()->count, 3u);
  EXPECT_FALSE(token->GetRenewRestriction()->postdatable);
  EXPECT_TRUE(token->GetRenewRestriction()->renewExpired);
  ASSERT_EQ(token->GetAdvice().size(), 1u);
  EXPECT_EQ(token->GetAdvice()[0].source, "src");
  EXPECT_EQ(token->GetAdvice()[0].attributes.at(0).values, std::vector<std::string>{"x"});
  EXPECT_EQ(token->GetAuthenticationContextClass(), "pw");
  EXPECT_EQ(token->GetAttributes().begin()->second.friendlyName, "Groups");
  EXPECT_EQ(token->GetGroups(), (std::vector<GroupIdentity>{{"a\\b", "d"}}));
  EXPECT_TRUE(token->IsSolution());

  const auto holder = ParseAssertion(Apply(kToken, {kToHolderOfKey, kToKeyData}));
  EXPECT_EQ(holder->GetConfirmationType(), ConfirmationType::HolderOfKey);
  EXPECT_EQ(holder->GetConfirmationCertificate(), "QUJD");
  EXPECT_FALSE(holder->GetSubjectNotOnOrAfter());
}

// Neither a name nor a value of the token's looks like another line of what is shown.
TEST(TokenTest, ShowsEachAttributeOnALineOfItsOwn) {
  const auto lines = Tools::ToLines(*ParseAssertion(Apply(
      kToken, {{kSolution, R"(<a:Attribute Name="subject: root@d&#10;x"><a:AttributeValue>1&#10;subject: 2)"
                           "</a:AttributeValue></a:Attribute>"}})));
  EXPECT_NE(lines.find("\nattribute \"subject: root@d\\nx\": 1\\nsubject: 2\n"), std::string::npos) << lines;
  EXPECT_EQ(lines.find("\nsubject: "), lines.rfind("\nsubject: ")) << lines;
}

TEST(TokenTest, IgnoresWhatSaysNothing) {
  const std::vector<std::vector<Change>> harmless = {
      {},
      {{"<a:Subject>", "\n <!-- x --> \t<a:Subject> <!-- -->"},
       {"</a:Conditions>", "<!-- --> </a:Conditions>"}},
      {{kSubjectData, Apply(kSubjectData, {{"/>", "> <!-- --></a:SubjectConfirmationData>"}})}},
      {{kAdvice, ""}, {kProxy + kRenew, kRenew + kProxy}},
      {{"<a:AttributeStatement>" + kGroups + kSolution + "</a:AttributeStatement>", ""}},
      {kToHolderOfKey, kToKeyData, {" xsi:type=\"a:KeyInfoConfirmationDataType\"", ""}},
      {{"#_t", ""}},
      {{"<a:Issuer>", "<a:Issuer Format=\"urn:x\">"}, {">true<", ">True<"}},
  };
  for (const auto& changes : harmless) EXPECT_EQ(Fault(Apply(kToken, changes)), "") << Apply(kToken, changes);
}

TEST(TokenTest, SaysWhatIsWrongWithTheShape) {
  const std::string textual = "' must only have textual content (but has extra children or is empty).";
  const std::string condition = "Unknown or duplicate restriction node under Conditions";
  const std::vector<std::pair<std::string, std::vector<std::vector<Change>>>> cases = {
      {"Expected element 'Assertion' not found.", {{{"a:Assertion", "a:A"}, {"</a:Assertion", "</a:A"}}}},
      {"Element 'Assertion' has unexpected namespace", {{{"2.0:assertion", "2.0:protocol"}}}},
      {"Node 'Assertion is missing required attribute 'Version", {{{" Version=\"2.0\"", ""}}}},
      {"Node 'Assertion is missing required attribute 'ID", {{{"ID=", "xsi:ID="}}}},
      {"Unexpected attribute 'id' on element 'Assertion", {{{"ID=", "xml:id=\"_u\" ID="}}}},
      {"Unexpected attribute 'Id' on element 'Subject", {{{"<a:Subject>", "<a:Subject Id=\"_t\">"}}}},
      {"Assertion/@IssueInstant is not a date",
       {{{"2026-11-24T10:00:00Z", "2026-11-24"}},
        {{"2026-11-24T10:00:00Z", "2026-11-24t10:00:00Z"}},
        {{"2026-11-24T10:00:00Z", "2026-11-24T10:00:00z"}},
        {{"2026-11-24T10:00:00Z", "2026-11-24 10:00:00Z"}}}},
      {"Element 'Issuer" + textual,
       {{{">sts<", "><"}},
        {{">sts<", "> <"}},
        {{">sts<", ">s<!-- -->ts<"}},
        {{">sts<", ">sts<!-- --><"}},
        {{">sts<", "><![CDATA[sts]]><"}},
        {{">sts<", ">s<?p?><"}},
        {{">sts<", "><a:b/><"}}}},
      {"Element 'NameID" + textual,
       {{{"n@m@d", "admin@d<!-- x -->.evil"}}, {{"n@m@d", "<![CDATA[n@m]]>@d"}}}},
      {"Expected element ds:Signature not found", {{{kSignature, ""}}, {{"2000/09/xmldsig#", "2000/09/x"}}}},
      {"Signature syntax error: element 'SignedInfo' not found.",
       {{{"<d:Signature>", "<d:Signature><d:Object/>"}}}},
      {"Signature syntax error: unexpected content in element 'Signature'.",
       {{{"</d:Signature>", "<d:Object/></d:Signature>"}},
        {{"</d:Signature>", "<d:KeyInfo/><d:KeyInfo/></d:Signature>"}}}},
      {"Signature syntax error: unexpected content in element 'SignatureMethod'.",
       {{{"\"s\"/>", "\"s\"><d:HMACOutputLength>0</d:HMACOutputLength></d:SignatureMethod>"}}}},
      {"Signature syntax error: element 'DigestValue' must hold text alone.", {{{"AA==", "A<!-- -->A=="}}}},
      {"Token's signature must cover the entire token",
       {{{"#_t", "#_other"}}, {{"#_t", "_t"}}, {{"#_t", "#xpointer(/)"}}, {{"#_t", "#xpointer(id('_t'))"}}}},
      {"Invalid or unsupported NameId format 'urn:x'",
       {{{"http://schemas.xmlsoap.org/claims/UPN", "urn:x"}}}},
      {"Failed to parse the UPN NameID: `admin'; name or domain part is missing.", {{{"n@m@d", "admin"}}}},
      {"Failed to parse the UPN NameID: `@d'; name or domain part is missing.", {{{"n@m@d", "@d"}}}},
      {"Failed to parse the UPN NameID: `n@d@'; name or domain part is missing.", {{{"n@m@d", "n@d@"}}}},
      {"Unexpected elements after SubjectConfirmation",
       {{{"</a:Subject>", kUpn + "x@y</a:NameID></a:Subject>"}}}},
      {"Unknown subject confirmation method: 'urn:oasis:names:tc:SAML:2.0:cm:sender-vouches",
       {{{"cm:bearer", "cm:sender-vouches"}}}},
      {"Node 'SubjectConfirmationData is missing required attribute 'NotOnOrAfter", {{kToKeyData}}},
      {"Element 'SubjectConfirmationData' must be empty",
       {{{kSubjectData, Apply(kSubjectData, {{"/>", ">x</a:SubjectConfirmationData>"}})}}}},
      {"Unexpected elements after SubjectConfirmationData", {{{kSubjectData, kSubjectData + kSubjectData}}}},
      {"Invalid SubjectConfirmationData type: 'd:KeyInfoConfirmationDataType",
       {{kToHolderOfKey, kToKeyData, {"a:KeyInfoConf", "d:KeyInfoConf"}}}},
      {"Element a:SubjectConfirmationDataat line 1 uses undefined prefix: `q'",
       {{kToHolderOfKey, kToKeyData, {"a:KeyInfoConf", "q:KeyInfoConf"}}}},
      {"Unexpected elements after X509Certificate",
       {{kToHolderOfKey,
         kToKeyData,
         {"</d:X509Data>", "<d:X509Certificate>QQ==</d:X509Certificate></d:X509Data>"}}}},
      {"Unexpected elements after X509Data",
       {{kToHolderOfKey, kToKeyData, {"</d:KeyInfo>", "<d:X509Data/></d:KeyInfo>"}}}},
      {"Unexpected elements after SubjectConfirmationData/KeyInfo",
       {{kToHolderOfKey, kToKeyData, {"</d:KeyInfo>", "</d:KeyInfo><d:KeyInfo/>"}}}},
      {condition,
       {{{kAudience, kAudience + kAudience}},
        {{kDelegation, kDelegation + kDelegation}},
        {{kProxy, kProxy + kProxy}},
        {{kRenew, kRenew + kRenew}},
        {{kProxy, "<a:OneTimeUse/>"}},
        {{kProxy, "text"}},
        {{kProxy, "<a:Condition/>"}},
        {{"xmlns:l=\"urn", "xmlns:l=\"urn:x"}}}},
      {"Expected element 'Audience' not found.", {{{kAudience, "<a:AudienceRestriction/>"}}}},
      {"Condition/@Count is not a non-negative integer.",
       {{{"Count=\"3\"", "Count=\"-3\""}}, {{"Count=\"3\"", "Count=\"99999999999999999999\""}}}},
      {"ProxyRestriction/@Count is not a non-negative integer.", {{{"Count=\"2\"", "Count=\"\""}}}},
      {"Condition/@Postdatable is not a Boolean", {{{"Postdatable=\"false\"", "Postdatable=\"no\""}}}},
      {"Node 'RSAAdvice is missing required attribute 'AdviceSource", {{{" AdviceSource=\"src\"", ""}}}},
      {"Unexpected elements after AuthnContextClassRef",
       {{{"</a:AuthnContext>", "<a:x/></a:AuthnContext>"}}}},
      {"Unexpected elements after AuthnContext", {{{"</a:AuthnStatement>", "<a:x/></a:AuthnStatement>"}}}},
      {"Expected element 'AuthnStatement' not found.", {{{kAuthn, ""}}, {{kAuthn, kSignature + kAuthn}}}},
      {"Expected element 'AttributeStatement' not found.", {{{kAuthn, kAuthn + kAuthn}}}},
      {"Unexpected elements under Assertion",
       {{{"</a:Assertion>", "<a:AttributeStatement/></a:Assertion>"}}}},
      {"Unexpected attribute 'Extra' on element 'Attribute", {{{"NameFormat=\"f\"", "Extra=\"f\""}}}},
      {"Failed to parse Group Identity value: `a'; domain or group missing", {{{"d\\a\\b", "a"}}}},
      {"Failed to parse Group Identity value: `\\a\\b'; domain or group missing", {{{"d\\a\\b", "\\a\\b"}}}},
      {"Failed to parse Group Identity value: `d\\'; domain or group missing", {{{"d\\a\\b", "d\\"}}}},
      {"No value found for attribute isSolution.", {{{"<a:AttributeValue>true</a:AttributeValue>", ""}}}},
      {"More than one value found for attribute isSolution.",
       {{{"<a:AttributeValue>true", "<a:AttributeValue>true</a:AttributeValue><a:AttributeValue>true"}}}},
      {"Duplicate attribute 'http://www.tessaly.com/schemas/attr-names/2009/01/GroupIdentity'",
       {{{kSolution, kGroups}}}},
  };
  for (const auto& [fault, variants] : cases) {
    for (const auto& changes : variants) {
      EXPECT_EQ(Fault(Apply(kToken, changes)), fault) << Apply(kToken, changes);
    }
  }
  EXPECT_EQ(Fault("<a>").substr(0, 45), "Token is not well-formed XML: line 1, column ");
}

TEST(TokenTest, ValidatesInOrder) {
  const Change noDelegate{kUpn + "last@d</a:NameID>", ""};
  const Change endsEarly{kSubjectData, Apply(kSubjectData, {{"11:00:00Z", "10:59:59.999999Z"}})};
  const std::vector<std::pair<std::string, std::vector<Change>>> cases = {
      {"Invalid token version", {{"Version=\"2.0\"", "Version=\"2\""}, {"ID=\"_t", "ID=\"t"}, {"#_t", ""}}},
      {"Invalid token ID", {{"ID=\"_t", "ID=\"t"}, {"#_t", "#t"}}},
      {"Invalid token ID", {{"ID=\"_t", "ID=\""}, {"#_t", ""}}},
      {"Unsatisfiable token validity conditions: NotBefore must be less than NotOnOrAfter.",
       {{"NotBefore=\"2026-11-24T10", "NotBefore=\"2026-11-24T11"}, endsEarly}},
      {"Invalid token subject validity", {endsEarly, noDelegate}},
      {"", {{kSubjectData, Apply(kSubjectData, {{"11:00:00Z", "11:00:00.000001Z"}})}}},
      {"Token has delegation restriction, but no delegate id is present in the SubjectConfirmation",
       {noDelegate}},
      {"Token SubjectConfirmation contains delegate id, but no delegation restriction is present",
       {{kDelegation, ""}}},
      {"The SubjectConfirmation delegate id does not match the id of the last delegate",
       {{"last@d", "first@d"}}},
      {"The SubjectConfirmation delegate id does not match the id of the last delegate",
       {{"last@d", "last@e"}}},
      {"", {noDelegate, {kDelegation, ""}}},
  };
  for (const auto& [fault, changes] : cases) EXPECT_EQ(Fault(Apply(kToken, changes)), fault);
}

TEST(TokenTest, AllowsTenMinutesOfDifferenceToTheMicrosecond) {
  const std::int64_t start = DateTime::Parse("2026-11-24T10:00:00Z").GetUtcTime();
  const std::int64_t end = DateTime::Parse("2026-11-24T11:00:00Z").GetUtcTime();
  constexpr std::int64_t kTolerance = 600'000'000;
  EXPECT_EQ(Fault(kToken, DateTime(start - kTolerance)), "");
  EXPECT_EQ(Fault(kToken, DateTime(start - kTolerance - 1)),
            "Token start date is in the future: 2026-11-24T10:00:00.000Z");
  EXPECT_EQ(Fault(kToken, DateTime(end + kTolerance - 1)), "");
  EXPECT_EQ(Fault(kToken, DateTime(end + kTolerance)), "The token has expired at: 2026-11-24T11:00:00.000Z");
}

TEST(TokenTest, KnowsTheHolderOfItsKey) {
  const auto holder = AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::EcP256);
  const auto other = AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::EcP256);
  const auto bound = ParseAssertion(
      Apply(kToken, {kToHolderOfKey,
                     kToKeyData,
                     {"QUJD", "\n  " + holder.certificate->GetBase64().insert(64, "\n") + "\n"}}));
  EXPECT_TRUE(IsHolderOfKey(*bound, *holder.certificate->GetPublicKey()));
  EXPECT_FALSE(IsHolderOfKey(*bound, *other.key));
  EXPECT_FALSE(IsHolderOfKey(*ParseAssertion(kToken), *holder.key));
  EXPECT_FALSE(IsHolderOfKey(*ParseAssertion(Apply(kToken, {kToHolderOfKey, kToKeyData})), *holder.key));
}

}  // namespace

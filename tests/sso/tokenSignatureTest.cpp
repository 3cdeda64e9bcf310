#include <gtest/gtest.h>
#include <openssl/err.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "platform/corvane/xml/signature.h"
#include "sso/parseToken.h"
#include "sso/ssoExceptions.h"
#include "testing/sso/assertionFactory.h"
#include "testing/temporaryFolder.h"

namespace {

using namespace SsoClient;
using namespace Corvane::Xml::Security;
using AssertionFactory::Identity;
using Testing::ReadFile;
using Testing::TemporaryFolder;

const std::string kTampered = "signature: Failed to verify signature: token might have been tampered with.";
const std::string kUncovered = "parse: Token's signature must cover the entire token";
const std::string kIdAttribute = " --id-attr:ID urn:oasis:names:tc:SAML:2.0:assertion:Assertion ";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  const std::size_t position = text.find(from);
  if (position == std::string::npos) throw std::logic_error("no " + from);
  return text.replace(position, from.size(), to);
}

std::string Repeat(const std::string& text, int count) {
  std::string repeated;
  for (int i = 0; i < count; ++i) repeated += text;
  return repeated;
}

// The part of a text from the start of one mark to the end of another one.
std::string Cut(const std::string& text, const std::string& first, const std::string& last) {
  const std::size_t begin = text.find(first);
  return text.substr(begin, text.find(last, begin) + last.size() - begin);
}

class TokenSignatureTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { signer_ = new Identity(AssertionFactory::MakeIdentity()); }
  static void TearDownTestSuite() { delete signer_; }

  static std::string Parse(const std::string& text, const Identity& believed = *signer_) {
    try {
      ParseToken(text, [&](const SamlToken&) { return believed.certificate->GetPublicKey(); });
      return "";
    } catch (const ParseException& fault) {
      return "parse: " + fault.GetText();
    } catch (const InvalidSignatureException& fault) {
      return "signature: " + fault.GetText();
    }
  }

  static const Identity* signer_;
};
const Identity* TokenSignatureTest::signer_ = nullptr;

TEST_F(TokenSignatureTest, TakesEveryAcceptedAlgorithm) {
  const auto curve = AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::EcP256);
  for (const auto method :
       {SignatureMethod::RsaSha256, SignatureMethod::RsaSha384, SignatureMethod::RsaSha512,
        SignatureMethod::EcdsaSha256, SignatureMethod::EcdsaSha384, SignatureMethod::EcdsaSha512}) {
    for (const auto digest : {DigestMethod::Sha256, DigestMethod::Sha384, DigestMethod::Sha512}) {
      const Identity& identity = IsRsa(method) ? *signer_ : curve;
      const Identity& stranger = IsRsa(method) ? curve : *signer_;
      const auto text = AssertionFactory::SignAssertion(AssertionFactory::BuildAssertion(), identity,
                                                        {.method = method, .digest = digest});
      EXPECT_EQ(Parse(text, identity), "");
      EXPECT_EQ(Parse(text, stranger),
                "signature: Signature verification error. the key is of another kind than the signature.");
    }
  }
  EXPECT_EQ(Parse(AssertionFactory::SignAssertion(AssertionFactory::BuildAssertion(), *signer_, {.uri = ""})),
            "");
}

TEST_F(TokenSignatureTest, BelievesTheResolverAlone) {
  const auto text = AssertionFactory::MakeToken(*signer_);
  EXPECT_EQ(Parse(text, AssertionFactory::MakeIdentity()), kTampered);
  EXPECT_EQ(ERR_peek_error(), 0u);
  EXPECT_THROW(ParseToken(text, nullptr), std::bad_function_call);
  EXPECT_THROW(ParseToken(text, [](const SamlToken&) { return nullptr; }), InvalidSignatureException);
  bool isAsked = false;
  const auto resolver = [&](const SamlToken&) {
    isAsked = true;
    return signer_->key;
  };
  EXPECT_THROW(ParseToken(AssertionFactory::MakeToken(*signer_, {.endsInSeconds = -601}), resolver),
               ParseException);
  EXPECT_FALSE(isAsked);
  EXPECT_EQ(Parse(AssertionFactory::MakeToken(*signer_, {.startsInSeconds = 590})), "");
  EXPECT_EQ(Parse(AssertionFactory::MakeToken(*signer_, {.startsInSeconds = -9000, .endsInSeconds = -590})),
            "");
}

// Whatever is said with the signed bytes is either the same in canonical form, or refused.
TEST_F(TokenSignatureTest, NoticesEveryChangedByte) {
  const auto text =
      AssertionFactory::MakeToken(*signer_, {.audiences = {"one"}, .proxyCount = 1, .renewable = true});
  // What is in the key info is only a hint, and not signed.
  const std::size_t hintBegins = text.find("<ds:KeyInfo>");
  const std::size_t hintEnds = text.find("</ds:KeyInfo>");
  for (std::size_t position = 0; position < text.size(); ++position) {
    if (position > hintBegins && position < hintEnds) continue;
    std::string changed = text;
    changed[position] = static_cast<char>(changed[position] ^ 1);
    EXPECT_NE(Parse(changed), "") << changed.substr(position > 20 ? position - 20 : 0, 40);
  }
  EXPECT_EQ(Parse(Replace(text, "</saml:Audience>", "2</saml:Audience>")), kTampered);
  EXPECT_EQ(Parse(Replace(text, "admin@", "root@")), kTampered);
  EXPECT_EQ(Parse(Replace(text, "</saml:Issuer>", "</saml:Issuer ><!-- unsigned -->")), "");
}

// A signature that is good for one element, and another element that is read. The numbers are those that the
// literature gives to the eight ways of wrapping.
TEST_F(TokenSignatureTest, IsNotFooledByWrapping) {
  const auto genuine = AssertionFactory::MakeToken(*signer_, {.id = "_real"});
  const auto signature = Cut(genuine, "<ds:Signature ", "</ds:Signature>");
  const auto unsignedGenuine = Replace(genuine, signature, "");
  const auto evil = AssertionFactory::BuildAssertion({.id = "_evil", .user = "root@example.local"});
  const auto sameId = AssertionFactory::BuildAssertion({.id = "_real", .user = "root@example.local"});
  const std::string issuerEnd = "</saml:Issuer>";
  const auto with = [&](const std::string& assertion, const std::string& inserted) {
    return Replace(assertion, issuerEnd, issuerEnd + inserted);
  };
  const auto inside = [&](const std::string& outer, const std::string& inner) {
    return Replace(outer, "</saml:Assertion>", inner + "</saml:Assertion>");
  };
  const auto object = [&](const std::string& content) {
    return Replace(signature, "</ds:Signature>", "<ds:Object>" + content + "</ds:Object></ds:Signature>");
  };
  const auto keyInfo = [&](const std::string& content) {
    return Replace(signature, "<ds:X509Data>", content + "<ds:X509Data>");
  };
  const auto extensions = [](const std::string& content) {
    return "<saml:Extensions>" + content + "</saml:Extensions>";
  };
  const std::string objectFault = "parse: Signature syntax error: unexpected content in element 'Signature'.";
  const std::string keyInfoFault = "parse: Signature syntax error: element 'KeyInfo' holds too much.";
  const std::string ambiguous =
      "signature: Signature verification error. a reference does not name an element of the document.";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {objectFault, with(evil, object(unsignedGenuine))},                                   // 1
      {"parse: Expected element 'Assertion' not found.", "<r>" + genuine + evil + "</r>"},  // 2
      {kUncovered, inside(with(evil, signature), unsignedGenuine)},                         // 3
      {"parse: Expected element ds:Signature not found", with(evil, genuine)},              // 4
      {kUncovered, inside(with(evil, signature), genuine)},                                 // 5
      {objectFault, with(evil, object(genuine))},                                           // 6
      {"parse: Expected element ds:Signature not found", with(evil, extensions(genuine))},  // 7
      {objectFault, with(sameId, object(unsignedGenuine))},                                 // 8
      // The same with one identifier for both, and with the genuine one hidden where nothing is read.
      {keyInfoFault, with(sameId, keyInfo(unsignedGenuine))},
      {keyInfoFault, with(evil, keyInfo(unsignedGenuine))},
      {keyInfoFault, Replace(genuine, "<ds:X509Data>", Repeat("<x/>", 31) + "<ds:X509Data>")},
      {ambiguous, with(sameId, keyInfo("<x xml:id=\"_real\"/>"))},
      {ambiguous, with(sameId, keyInfo("<x Id=\"_real\"/>"))},
      {ambiguous, with(sameId, keyInfo("<x xmlns:w=\"urn:w\" w:iD=\"_real\"/>"))},
      // Not even the genuine one is read when it isn't clear which one is meant.
      {ambiguous, with(unsignedGenuine, keyInfo("<x id=\"_real\"/>"))},
      {kTampered, with(sameId, signature)},
      {"parse: Expected element 'Subject' not found.", with(genuine, signature)},
      {"parse: Unexpected elements under Assertion", inside(genuine, signature)},
  };
  ASSERT_EQ(Parse(genuine), "");
  for (const auto& [fault, text] : cases) EXPECT_EQ(Parse(text), fault) << text;
}

// The command signs whatever it is told to, and says so itself; none of it is believed.
TEST_F(TokenSignatureTest, RefusesWhatOthersWouldAccept) {
  const TemporaryFolder folder;
  const auto keyFile = folder.Write("key.pem", signer_->privateKeyPem);
  const auto publicFile = folder.Write("certificate.pem", signer_->certificatePem);
  const auto blank = AssertionFactory::SignAssertion(AssertionFactory::BuildAssertion({.id = "_t"}), *signer_,
                                                     {.withCertificate = false});
  const std::string error = "signature: Signature verification error. ";
  const std::string exclusive = "http://www.w3.org/2001/10/xml-exc-c14n#";
  const std::string enveloped =
      R"(<ds:Transform Algorithm="http://www.w3.org/2000/09/xmldsig#enveloped-signature"/>)";
  const std::string transform = R"(<ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>)";
  const std::string prefixes =
      R"(<InclusiveNamespaces xmlns="http://www.w3.org/2001/10/xml-exc-c14n#" PrefixList="saml"/>)";
  const std::string inclusive = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
  const std::string reference = Cut(blank, "<ds:Reference", "</ds:Reference>");
  const std::string syntax = "parse: Signature syntax error: ";
  const std::string transformFault = syntax + "unexpected content in element 'Transform'.";
  struct Case {
    std::string fault;
    std::string from;
    std::string to;
  };
  const std::vector<Case> cases = {
      {"", "", ""},
      {"", transform, Replace(transform, "/>", ">" + prefixes + "</ds:Transform>")},
      {syntax + "the PrefixList is too long.", transform,
       Replace(transform, "/>", ">" + Replace(prefixes, "saml", Repeat("saml ", 52)) + "</ds:Transform>")},
      {error + "a reference has no exclusive canonicalization.", transform, ""},
      {error + "a reference to what holds the signature is not enveloped.", enveloped, ""},
      {error + "two references name the same element.", reference, reference + Replace(reference, "#_t", "")},
      {error + "the canonicalization '" + inclusive + "' is not accepted.", exclusive, inclusive},
      {error + "the transform '" + inclusive + "' is not accepted.", transform,
       Replace(transform, exclusive, inclusive)},
      {error + "the digest 'http://www.w3.org/2000/09/xmldsig#sha1' is not accepted.",
       "http://www.w3.org/2001/04/xmlenc#sha256", "http://www.w3.org/2000/09/xmldsig#sha1"},
      {error + "the signature method 'http://www.w3.org/2000/09/xmldsig#rsa-sha1' is not accepted.",
       "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256", "http://www.w3.org/2000/09/xmldsig#rsa-sha1"},
      {error + "the canonicalization '" + exclusive + "WithComments' is not accepted.", exclusive,
       exclusive + "WithComments"},
      {error + "the transform '" + exclusive + "WithComments' is not accepted.", transform,
       Replace(transform, exclusive, exclusive + "WithComments")},
      {error + "the transform '" + exclusive + "' is not accepted.", transform, transform + transform},
      {transformFault, transform,
       R"(<ds:Transform Algorithm="http://www.w3.org/2002/06/xmldsig-filter2"><XPath xmlns=)"
       R"("http://www.w3.org/2002/06/xmldsig-filter2" Filter="subtract">/*/*[3]</XPath></ds:Transform>)"},
      {transformFault, transform,
       R"(<ds:Transform Algorithm="http://www.w3.org/TR/1999/REC-xpath-19991116"><ds:XPath>1=1</ds:XPath></ds:Transform>)"},
      {kUncovered, "#_t", "#xpointer(id('_t'))"},
  };
  for (const auto& [fault, from, to] : cases) {
    const auto input = folder.Write("in.xml", Replace(blank, from, to));
    const auto output = folder / "out.xml";
    const auto command =
        "xmlsec1 --sign --privkey-pem " + keyFile + kIdAttribute + "--output " + output + ' ' + input;
    ASSERT_EQ(std::system((command + " > /dev/null 2>&1").c_str()), 0) << to;
    const auto text = Replace(ReadFile(output), "<?xml version=\"1.0\"?>\n", "");
    EXPECT_EQ(Parse(text), fault) << to;
  }
}

// Signatures of this library, checked by the command.
TEST_F(TokenSignatureTest, SignsWhatOthersAccept) {
  const TemporaryFolder folder;
  const auto certificate = folder.Write("certificate.pem", signer_->certificatePem);
  const auto text = AssertionFactory::MakeToken(*signer_);
  const auto verify = [&](const std::string& content) {
    const auto file = folder.Write("token.xml", content);
    return std::system(
        ("xmlsec1 --verify --pubkey-cert-pem " + certificate + kIdAttribute + file + " > /dev/null 2>&1")
            .c_str());
  };
  EXPECT_EQ(verify(text), 0);
  EXPECT_NE(verify(Replace(text, "admin@", "root@")), 0);
}

TEST_F(TokenSignatureTest, WorksOnManyThreads) {
  const auto good = AssertionFactory::MakeToken(*signer_);
  const auto bad = Replace(good, "admin@", "root@");
  std::vector<std::string> faults(16);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < faults.size(); ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 20 && faults[i].empty(); ++round) {
        faults[i] = Parse(good) + (Parse(bad) == kTampered ? "" : "a forged token is believed") +
                    (Parse(good.substr(1)).find("line 1, column 1: ") != std::string::npos ? "" : "no fault");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(faults, std::vector<std::string>(faults.size()));
}

}  // namespace

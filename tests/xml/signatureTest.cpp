#include <gtest/gtest.h>
#include <openssl/err.h>

#include <string>

#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/parser.h"
#include "platform/corvane/xml/reader.h"
#include "platform/corvane/xml/signature.h"
#include "testing/sso/assertionFactory.h"

namespace {

using namespace Corvane::Xml;
using namespace Corvane::Xml::Security;

// A message with two signed parts, whose signature is put into it after it was made.
class SignatureTest : public testing::Test {
 protected:
  SignatureTest()
      : signer_(AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::EcP256)),
        document_(ParseText("<m xmlns:w='urn:w'><one w:Id='a'>1</one><two w:Id='b'>2</two></m>")) {
    one_ = document_->GetRoot().GetFirstChild();
    two_ = one_.GetNextSibling();
    EXPECT_TRUE(document_->MarkIdentifier(one_, "Id", "urn:w"));
    EXPECT_TRUE(document_->MarkIdentifier(two_, "Id", "urn:w"));
    signature_ = CreateBlankSignature(document_, "ds", SignatureMethod::EcdsaSha256,
                                      CanonicalizationMethod::Exclusive);
    for (const char* uri : {"#a", "#b"}) {
      signature_->AddReference(uri, DigestMethod::Sha256, CanonicalizationMethod::Exclusive);
    }
  }

  AssertionFactory::Identity signer_;
  Corvane::Ref<Document> document_;
  Node one_;
  Node two_;
  Corvane::Ref<Signature> signature_;
};

TEST_F(SignatureTest, CoversAllOfItsReferences) {
  signature_->GetKeyInfo().AppendChild(CreateElementNode(document_, "hint"));
  signature_->Compute(*signer_.key);
  EXPECT_FALSE(signature_->GetElement().GetParent());
  two_.AppendChild(signature_->GetElement());
  EXPECT_TRUE(signature_->GetKeyInfo().GetFirstChild().IsElement("hint", ""));
  // It is in a part that it covers, and nothing excludes it there.
  EXPECT_THROW(signature_->Verify(*signer_.key), XmlSecurityException);
  const auto writer = Corvane::CreateStringWriter();
  WriteNode(document_->GetRoot(), *writer);
  std::string text = writer->GetText();
  const std::size_t position = text.find("<ds:Signature");
  const std::string signature = text.substr(position, text.find("</two>") - position);
  text.replace(position, signature.size(), "").insert(text.find("</m>"), signature);

  const auto verify = [&](const std::string& content, bool marksBoth = true) {
    const auto read = ParseText(content);
    const auto one = read->GetRoot().GetFirstChild();
    read->MarkIdentifier(one, "Id", "urn:w");
    if (marksBoth) read->MarkIdentifier(one.GetNextSibling(), "Id", "urn:w");
    return CreateSignatureFromDom(one.GetNextSibling().GetNextSibling())->Verify(*signer_.key);
  };
  EXPECT_TRUE(verify(text));
  EXPECT_FALSE(verify(std::string(text).replace(text.find(">1<"), 3, ">3<")));
  EXPECT_FALSE(verify(std::string(text).replace(text.find(">2<"), 3, ">3<")));
  EXPECT_THROW(verify(text, false), XmlSecurityException);
}

// Whoever has signed nothing makes nobody write a canonical form: this one's would be a fault.
TEST_F(SignatureTest, LooksAtTheValueBeforeAnyDigest) {
  signature_->Compute(*signer_.key);
  one_.SetAttribute("xmlns", "relative");
  document_->GetRoot().AppendChild(signature_->GetElement());
  one_.AppendChild(CreateElementNode(document_, "child"));
  EXPECT_THROW(signature_->Verify(*signer_.key), XmlSecurityException);
  const auto stranger = AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::EcP256);
  EXPECT_FALSE(signature_->Verify(*stranger.key));
  EXPECT_EQ(signature_->FindSigner({stranger.key, signer_.key}), signer_.key);
  EXPECT_EQ(signature_->FindSigner({stranger.key}), nullptr);
  EXPECT_EQ(ERR_peek_error(), 0u);
}

TEST_F(SignatureTest, FailsWithAReason) {
  signature_->AddReference("#nobody", DigestMethod::Sha256, CanonicalizationMethod::Exclusive);
  EXPECT_THROW(signature_->Compute(*signer_.key), XmlSecurityException);
  EXPECT_FALSE(signature_->GetElement().GetParent());
  const auto publicKey = signer_.certificate->GetPublicKey();
  const auto other =
      CreateBlankSignature(document_, "", SignatureMethod::RsaSha256, CanonicalizationMethod::Exclusive);
  other->AddReference("#a", DigestMethod::Sha256, CanonicalizationMethod::Exclusive);
  EXPECT_THROW(other->Compute(*signer_.key), XmlSecurityException);
  EXPECT_THROW(other->Compute(*publicKey), XmlSecurityException);
}

TEST_F(SignatureTest, MarksOnlyIdentifiersWithoutDoubt) {
  const auto document = ParseText(
      "<m id='x'><a ID='x'/><a ID='y' xml:id='z'/><a ID='n o'/><a ID=''/><a ID='0'/><a ID='z'/><a "
      "ID='q'/></m>");
  std::string marked;
  for (auto child = document->GetRoot().GetFirstChild(); child; child = child.GetNextSibling()) {
    marked += document->MarkIdentifier(child, "ID") ? '1' : '0';
  }
  EXPECT_EQ(marked, "0100001");
  EXPECT_FALSE(document->MarkIdentifier(document->GetRoot(), "ID"));
  // A place in the document that the other one with the same value doesn't see.
  const auto loose = CreateElementNode(document, "a");
  loose.SetAttribute("ID", "y");
  EXPECT_FALSE(document->MarkIdentifier(loose, "ID"));
  EXPECT_EQ(document->FindMarked("y"), document->GetRoot().GetFirstChild().GetNextSibling());
  EXPECT_FALSE(document->FindMarked("z"));
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "platform/corvane/exception.h"
#include "platform/corvane/xml/canonicalizer.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/parser.h"
#include "platform/corvane/xml/reader.h"

namespace {

using namespace Corvane::Xml;
using Corvane::CreateStringWriter;
using Security::CanonicalizationMethod;

std::string Write(const Node& node) {
  const auto writer = CreateStringWriter();
  WriteNode(node, *writer);
  return writer->GetText();
}

std::string Canonical(const Node& node, CanonicalizationMethod method) {
  const auto writer = CreateStringWriter();
  Security::CreateCanonicalizer(method)->Canonicalize(node, *writer);
  return writer->GetText();
}

TEST(XmlTreeTest, ResolvesPrefixesWhereTheyAreDeclared) {
  const auto document = CreateXMLDocument();
  const auto root = CreateElementNode(document, "p:root");
  const auto child = CreateElementNode(document, "p:child");
  const auto inner = CreateElementNode(document, "q:inner");
  inner.SetAttribute("p:a", "1 < \"2\"");
  child.AppendChild(inner);
  root.AppendChild(child);
  EXPECT_EQ(inner.GetNamespace(), "");
  EXPECT_EQ(inner.GetPrefix(), "q");
  root.SetAttribute("xmlns:p", "urn:p");
  inner.SetAttribute("xmlns:q", "urn:q");
  document->SetRoot(root);
  EXPECT_TRUE(child.IsElement("child", "urn:p"));
  EXPECT_TRUE(inner.IsElement("inner", "urn:q"));
  EXPECT_EQ(inner.GetAttribute("a", "urn:p"), "1 < \"2\"");
  EXPECT_EQ(inner.ResolvePrefix("p"), "urn:p");
  EXPECT_EQ(inner.ResolvePrefix("r"), std::nullopt);
  child.PrependChild(CreateTextNode(document, "<&>"));
  EXPECT_EQ(Write(root),
            "<p:root xmlns:p=\"urn:p\"><p:child>&lt;&amp;&gt;<q:inner xmlns:q=\"urn:q\" p:a=\"1 &lt; "
            "&quot;2&quot;\"/>"
            "</p:child></p:root>");
  EXPECT_THROW(root.SetAttribute("xmlns:p", "urn:other"), Corvane::InvalidArgumentException);
  EXPECT_THROW(root.AppendChild(child), Corvane::InvalidArgumentException);
  EXPECT_THROW(root.AppendChild(CreateElementNode(CreateXMLDocument(), "x")),
               Corvane::InvalidArgumentException);
  EXPECT_THROW(document->SetRoot(CreateElementNode(document, "x")), Corvane::InvalidStateException);
}

TEST(XmlTreeTest, WritesAPreBuiltElementAsItWas) {
  const std::string text = "<t:a  xmlns:t='urn:t' b = 'c'><t:d></t:d>&#65;</t:a >";
  const auto document = CreateXMLDocument();
  const auto root = CreateElementNode(document, "root");
  const auto element = CreateElementFromText(
      document, "\xef\xbb\xbf<?xml version='1.0'?>\n<?p <r>?><!-- <r> -->" + text + "\n<!-- -->\n");
  EXPECT_EQ(Write(element), text);
  root.AppendChild(element);
  document->SetRoot(root);
  EXPECT_EQ(Write(root), "<root>" + text + "</root>");
  // The tree stays a tree: it is what is signed.
  EXPECT_EQ(Canonical(root, CanonicalizationMethod::Exclusive),
            "<root><t:a xmlns:t=\"urn:t\" b=\"c\"><t:d></t:d>A</t:a></root>");
  EXPECT_THROW(CreateElementFromText(document, "<a>"), XMLParseException);
}

TEST(XmlTreeTest, CanonicalFormsFollowTheStandards) {
  const auto document = ParseText(
      "<?before  it?><r xmlns='urn:r' xml:lang='en' xmlns:z='urn:z'><z:e xmlns:a='urn:a' b='&#9;&quot;&lt;' "
      "a:a='' "
      "xml:space='default'><![CDATA[<&>]]>&#13;<?p?><e xmlns='' z:e=''/><!-- --></z:e></r><?behind?><!-- "
      "-->");
  const auto element = document->GetRoot().GetFirstChild();
  const std::string attributes = "b=\"&#x9;&quot;&lt;\" ";
  const std::string content = "&lt;&amp;&gt;&#xD;<?p?>";
  EXPECT_EQ(Canonical(element, CanonicalizationMethod::Inclusive),
            "<z:e xmlns=\"urn:r\" xmlns:a=\"urn:a\" xmlns:z=\"urn:z\" " + attributes +
                "xml:lang=\"en\" xml:space=\"default\" a:a=\"\">" + content +
                "<e xmlns=\"\" z:e=\"\"></e></z:e>");
  EXPECT_EQ(Canonical(element, CanonicalizationMethod::Exclusive),
            "<z:e xmlns:a=\"urn:a\" xmlns:z=\"urn:z\" " + attributes + "xml:space=\"default\" a:a=\"\">" +
                content + "<e z:e=\"\"></e></z:e>");
  const auto writer = CreateStringWriter();
  Security::Canonicalizer(CanonicalizationMethod::Exclusive, {"#default", "z"})
      .Canonicalize(*document, *writer, element);
  EXPECT_EQ(writer->GetText(),
            "<?before it?>\n<r xmlns=\"urn:r\" xmlns:z=\"urn:z\" xml:lang=\"en\"></r>\n<?behind?>");
}

// The writer of a digest never sees more than a block of small pieces, and none of them out of its turn.
TEST(XmlTreeTest, CanonicalFormsComeInBlocks) {
  class Blocks final : public Corvane::Writer {
   public:
    void Write(std::string_view piece) override {
      text += piece;
      largest = std::max(largest, piece.size());
      ++count;
    }
    std::string text;
    std::size_t largest = 0;
    std::size_t count = 0;
  };
  std::string content;
  for (int i = 0; i < 1000; ++i) content += "<e a=\"" + std::string(i % 7, 'x') + "&amp;\">&lt;</e>";
  const auto write = [](const std::string& text) {
    Blocks blocks;
    Security::Canonicalizer(CanonicalizationMethod::Exclusive)
        .Canonicalize(ParseText(text)->GetRoot(), blocks);
    EXPECT_EQ(blocks.text, text);
    return std::pair(blocks.count, blocks.largest);
  };
  const auto [count, largest] = write("<r>" + content + "</r>");
  EXPECT_LT(largest, 2000u);
  EXPECT_LT(count, content.size() / 500);
  // A text of many blocks is no piece of one.
  write("<r>" + content + std::string(5000, 'y') + content + "</r>");
}

TEST(XmlTreeTest, CanonicalFormsKeepTheDeclarationsInScope) {
  const auto document =
      ParseText("<r xmlns:u='urn:u' xmlns:p='urn:p'><p:a z='1' b=\"'\"><!-- c --> x</p:a></r>");
  const auto element = document->GetRoot().GetFirstChild();
  EXPECT_EQ(Canonical(element, CanonicalizationMethod::Inclusive),
            "<p:a xmlns:p=\"urn:p\" xmlns:u=\"urn:u\" b=\"'\" z=\"1\"> x</p:a>");
  EXPECT_EQ(Canonical(element, CanonicalizationMethod::Exclusive),
            "<p:a xmlns:p=\"urn:p\" b=\"'\" z=\"1\"> x</p:a>");
}

}  // namespace

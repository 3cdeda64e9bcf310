#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/parser.h"

namespace {

using namespace Corvane::Xml;

std::string Repeat(const std::string& text, int count) {
  std::string repeated;
  for (int i = 0; i < count; ++i) repeated += text;
  return repeated;
}

std::string Declarations(const std::string& prefix, int count) {
  std::string declarations;
  for (int i = 0; i < count; ++i) declarations += " xmlns:" + prefix + std::to_string(i) + "='urn:x'";
  return declarations;
}

std::string Fault(const std::string& text) {
  testing::internal::CaptureStderr();
  std::string fault;
  try {
    ParseText(text);
  } catch (const XMLParseException& exception) {
    fault = exception.GetText();
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  return fault;
}

TEST(XmlParserTest, RefusesHostileTexts) {
  const std::string noEntity = "line 1, column 13: a document type is not accepted";
  std::string attributes;
  for (int i = 0; i < 64; ++i) attributes += " a" + std::to_string(i) + "=''";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", ""},
      {"line 1, column 1: the text is larger than 1048576 bytes", std::string(kLargestText + 1, ' ')},
      {"elements are nested too deeply", Repeat("<a>", 1000) + Repeat("</a>", 1000)},
      {"elements are nested too deeply", Repeat("<a>", 65)},
      {"line 2, column 63997: too much markup", "<a>\n" + Repeat("<b/>", 16'000) + "</a>"},
      {"too much markup", "<a b='" + Repeat("&lt;", 16'000) + "'/>"},
      // Even where nobody comes to the library's end of the element, or a value holds one.
      {"line 2, column 1: too many attributes in an element", "<!-- <a> -->\n<a xmlns:p='>'" + attributes},
      {"too many namespace declarations",
       "<a" + Declarations("a", 33) + "><b" + Declarations("b", 32) + "/></a>"},
      {"too many namespace declarations", "<a>" + Repeat("<b" + Declarations("b", 60) + "/>", 70) + "</a>"},
      // The first fault is the last thing that the library does.
      {"line 1, column 7: Entity 'x' not defined", "<a>&x;" + Repeat("<b></c>", 5000) + "</a>"},
      {"a document type is not accepted", "<!DOCTYPE a [<!ENTITY b 'c'><!ENTITY d '&b;&b;&b;'>]><a>&d;</a>"},
      {"a document type is not accepted", "<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>"},
      {"a document type is not accepted", "<!DOCTYPE a [<!ENTITY % p SYSTEM 'http://127.0.0.1:1/'>%p;]><a/>"},
      {"a document type is not accepted", "<?xml version='1.0'?><!-- --><!DOCTYPE a><a/>"},
      {"Entity 'nbsp' not defined", "<a>&nbsp;</a>"},
      {"line 3, column 5: Opening and ending tag mismatch", "<a>\n<b>\n</a>"},
      {"Namespace prefix p on a is not defined", "<p:a/>"},
      {"Attribute a redefined", "<a a='1' a='2'/>"},
      {"", "<a>"},
      {"", "<a/><b/>"},
      {"the text is no XML in UTF-8", std::string("\xff\xfe<\0a\0/\0>\0", 10)},
      {"the text is no XML in UTF-8", std::string("\0\0\0<", 4)},
      {"the text is no XML in UTF-8", "no markup"},
      {"", "<a>\xe4</a>"},
      {"", "<a>\x01</a>"},
  };
  for (const auto& [reason, text] : cases) {
    const auto fault = Fault(text);
    EXPECT_EQ(fault.find("line "), 0u) << text.substr(0, 100);
    EXPECT_NE(fault.find(reason), std::string::npos) << fault;
    EXPECT_EQ(fault.find('\n'), std::string::npos) << fault;
  }
}

TEST(XmlParserTest, TakesWhatIsWellFormed) {
  for (const char* text : {"\xef\xbb\xbf<?xml version='1.0' encoding='ISO-8859-1'?><a>\xc3\xa4</a>",
                           " \n<a>\xc3\xa4</a><!-- --><?p?>", "<a>&#228;</a>"}) {
    EXPECT_EQ(ParseText(text)->GetRoot().GetFirstChild().GetText(), "\xc3\xa4");
  }
  EXPECT_EQ(Fault(Repeat("<a>", 64) + Repeat("</a>", 64)), "");
  // Inclusions are elements like any other.
  const auto document =
      ParseText("<i:include xmlns:i='http://www.w3.org/2001/XInclude' href='/etc/passwd'/>");
  EXPECT_EQ(document->GetRoot().GetLocalName(), "include");
}

TEST(XmlParserTest, LeavesTheHandlerAsItWas) {
  const auto handler = CreateXMLDocumentHandler();
  const auto parser = CreateXMLParser(handler);
  EXPECT_EQ(handler->GetDocument(), nullptr);
  parser->Parse(CreateStringReader("<a/>"));
  EXPECT_THROW(parser->Parse(CreateStringReader("<b>")), XMLParseException);
  EXPECT_EQ(handler->GetDocument()->GetRoot().GetLocalName(), "a");
}

}  // namespace

#include "apps/nornhesperd/publication.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/intake/intakeEnvironment.h"

namespace {

using Intake::GoodText;
using Intake::Text;
using NornHesper::Publication;
using std::string_literals::operator""s;

const std::string kTime = R"("sequence":7,"createTime":"2026-11-24T21:15:00Z",)";
const std::string kHeader = kTime + R"("topic":"a.b","token":"t")";
const std::string kPayload = R"("category":"c","base64":"aGk=")";
const std::string kTopicFault =
    "7 unmatched schema: #/properties/header/properties/topic(type), doc: #/header/topic";

// The sequence, or a hyphen, and the fault, or "good".
std::string Parse(Publication& publication) {
  const NornHesper::Result result = publication.Parse();
  EXPECT_NE(publication.parsed, result.HasErrors());
  const std::string sequence = publication.hasSequence ? std::to_string(publication.sequence) : "-";
  if (!result.HasErrors()) return sequence + " good";
  EXPECT_EQ(result.GetRecords()->size(), 1U);
  EXPECT_EQ(result.GetRecords()->front().code, 65538U);
  return sequence + " " + result.GetRecords()->front().message;
}

std::string Parse(const std::string& text) {
  Publication publication(text.data(), text.size(), nullptr);
  return Parse(publication);
}

std::string Repeat(const std::string& piece, std::size_t times) {
  std::string text;
  while (times-- > 0) text += piece;
  return text;
}

TEST(PublicationTest, TakesFieldsOutOfTheText) {
  // The byte after the text is not part of it.
  const std::string text = GoodText(7, R"(,"subscribers":[9,0,9,18446744073709551615])") + "}";
  Publication publication(text.data(), text.size() - 1, nullptr);
  EXPECT_EQ(Parse(publication), "7 good");
  EXPECT_EQ(publication.Topic(), "a.b");
  EXPECT_EQ(publication.Token(), "t");
  EXPECT_EQ(publication.createTime.ToString(), "2026-11-24T21:15:00Z");
  EXPECT_THAT(publication.subscribers, testing::ElementsAre(9, 0, 9, 18446744073709551615U));
  EXPECT_EQ(publication.text, text.substr(0, text.size() - 1));  // the parser works on another copy
}

TEST(PublicationTest, KeepsOfManyValuesWhatIsReadLater) {
  const std::string text = Text(R"("subscribers":[7)" + Repeat(",7", 20000) + R"(],"x":[1)" +
                                    Repeat(",1", 10000) + "]," + kTime + R"("topic":"a.\u0062","token":"t")",
                                R"("category":"c","base64":"aGl=")");
  Publication publication(text.data(), text.size(), nullptr);
  EXPECT_EQ(Parse(publication), "7 good");
  EXPECT_LE(publication.document.GetAllocator().Capacity(), 2048U);
  EXPECT_EQ(publication.Topic(), "a.b");
  EXPECT_EQ(publication.Token(), "t");
  EXPECT_EQ(publication.PayloadBase64(), "aGk=");
  EXPECT_STREQ(publication.document["header"]["topic"].GetString(), "a.b");
  EXPECT_STREQ(publication.document["header"]["token"].GetString(), "t");
  EXPECT_EQ(publication.subscribers.size(), 20001U);
}

TEST(PublicationTest, RefusesInTheOrderOfTheChecks) {
  const std::string bad = R"("sequence":7,"subscribers":)";
  const std::pair<std::string, std::string> cases[] = {
      // %1 stands for the text.
      {"", "- failed to json-parse '%1'"},
      {"{} {}", "- failed to json-parse '%1'"},
      {R"({"say":"%1 "quoted" %2"})", "- failed to json-parse '%1'"},
      {"[]", "- missing header, %1"},
      {"{}", "- missing header, %1"},
      {R"({"header":5,"header":{}})", "- header not an object, %1"},
      {R"({"header":{}})", "- missing sequence, %1"},
      {Text(R"("sequence":18446744073709551616)", ""), "- sequence not an unsigned integer, %1"},
      {Text(R"("sequence":-1)", ""), "- sequence not an unsigned integer, %1"},
      {Text(R"("sequence":1.0,"sequence":7)", ""), "- sequence not an unsigned integer, %1"},
      {Text(bad + "null", ""), "7 subscribers invalid, %1"},
      {Text(bad + R"([5,"x"])", ""), "7 subscriber not an unsigned integer, %1"},
      {R"({"header":{)" + kHeader + "}}", "7 unmatched schema: #(required), doc: #"},
      {Text(R"("sequence":7,"createTime":"noon","token":"t")", kPayload),
       "7 unmatched schema: #/properties/header(required), doc: #/header"},
      {Text(kTime + R"("topic":5,"token":"t")", kPayload), kTopicFault},
      {Text(kTime + R"("topic":{"topic":"a"},"token":"t")", kPayload), kTopicFault},
      // The schema, other than the look-ups, sees every occurrence of a member.
      {Text(kHeader + R"(,"topic":null)", kPayload), kTopicFault},
      {Text(kHeader, R"("category":7,"base64":"*")"),
       "7 unmatched schema: #/properties/payload/properties/category(type), doc: #/payload/category"},
      {R"({"header":{)" + kHeader + R"(},"payload":"aGk="})",
       "7 unmatched schema: #/properties/payload(type), doc: #/payload"},
      {Text(R"("sequence":7,"createTime":"noon","topic":"a","token":"t")", R"("category":"c","base64":"*")"),
       "7 invalid createTime field in %1"},
      {Text(kHeader, R"("category":"c","base64":"aGk")"), "7 invalid base64 encoding in %1"},
  };
  for (const auto& [text, outcome] : cases) {
    std::string expected = outcome;
    if (const std::size_t place = expected.find("%1"); place != std::string::npos) {
      expected.replace(place, 2, text);
    }
    EXPECT_EQ(Parse(text), expected);
  }
}

TEST(PublicationTest, AcceptsWhatTheFormatLeavesOpen) {
  EXPECT_EQ(Parse(GoodText(18446744073709551615U, R"(,"subscribers":5)")), "18446744073709551615 good");
  for (const std::string& text :
       {Text(kHeader + R"(,"x":[1,{"y":null}],"topic ":5)", kPayload + R"(,"header":0,"base64":"*")"),
        R"({"a/b~c%":{"d":[[true],{"":1e9}]},)" + GoodText(7).substr(1), GoodText(7) + "\0{ no json"s,
        Text(kHeader + R"(,"bytes":")" + "\xff\xc0\x80\xed\xa0\x80" + R"(","nul":"\u0000")", kPayload),
        GoodText(7, R"(,"subscribers":[])") + Repeat(" ", 69000)}) {
    EXPECT_EQ(Parse(text), "7 good") << text;
  }
  for (const std::string& string : {R"("\ud83d")"s, "\"\n\""s, "\"\0\""s}) {
    EXPECT_THAT(Parse(GoodText(7, R"(,"s":)" + string)), testing::StartsWith("- failed to json-parse"));
  }
}

TEST(PublicationTest, OffersThePayloadInItsOneTextForm) {
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"", "", ""},
      {"aGl=", "hi", "aGk="},               // bits that the padding leaves unused
      {R"(aG\u0069\/)", "hh\xbf", "aGi/"},  // escapes
      {R"(aGk=\u0000rest)", "hi", "aGk="},  // an escaped NUL ends the text
      {R"(\u0000)", "", ""},
      {Repeat("/+8A", 17000), Repeat("\xff\xef\0"s, 17000), Repeat("/+8A", 17000)}};
  for (const auto& [base64, bytes, canonical] : cases) {
    const std::string text = Text(kHeader, R"("category":"c","base64":")" + base64 + '"');
    Publication publication(text.data(), text.size(), nullptr);
    EXPECT_EQ(Parse(publication), "7 good");
    EXPECT_EQ(std::string(publication.payload.begin(), publication.payload.end()), bytes);
    EXPECT_EQ(publication.PayloadBase64(), canonical);
  }
}

}  // namespace

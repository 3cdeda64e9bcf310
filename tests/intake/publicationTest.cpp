#include "apps/nornhesperd/publication.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "platform/corvane/thread.h"
#include "tests/intake/intakeEnvironment.h"

namespace {

using Intake::GoodText;
using Intake::Text;
using NornHesper::Publication;
using NornHesper::Result;
using std::string_literals::operator""s;

constexpr size_t kLargest = 69608;
constexpr char kTimes[] = R"("createTime":"2026-11-24T21:15:00Z","topic":"a.b","token":"t")";
const std::string kHeader = std::string(R"("sequence":7,)") + kTimes;
const std::string kPayload = R"("category":"c","base64":"aGk=")";

struct Outcome {
  std::string fault;  // empty: accepted
  std::optional<uint64_t> sequence;

  bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << outcome.fault.substr(0, 300) << " / "
             << (outcome.sequence ? std::to_string(*outcome.sequence) : "no sequence");
}

Outcome Parse(Publication& publication) {
  const Result result = publication.Parse();
  Outcome outcome;
  if (publication.hasSequence) {
    outcome.sequence = publication.sequence;
  }
  if (result.HasErrors()) {
    EXPECT_EQ(result.GetRecords()->size(), 1U);
    EXPECT_EQ(result.GetRecords()->front().code, 65538U);
    outcome.fault = result.GetRecords()->front().message;
  }
  EXPECT_NE(publication.parsed, result.HasErrors());
  return outcome;
}

Outcome Parse(const std::string& text) {
  Publication publication(text.data(), text.size(), nullptr);
  return Parse(publication);
}

// As on the backend thread, whose stack is small.
void OnSmallStack(const std::function<void()>& body) {
  Corvane::MakeRef<Corvane::System::Thread>("small", body, 1024 * 1024)->Join();
}

std::string Repeat(const std::string& piece, size_t times) {
  std::string text;
  for (size_t i = 0; i < times; ++i) {
    text += piece;
  }
  return text;
}

TEST(PublicationTest, TakesFieldsOutOfTheText) {
  // The bytes behind the text are not part of it.
  const std::string text =
      GoodText(18446744073709551615U, R"(,"subscribers":[9,0,9,18446744073709551615])") + "}";
  const auto vm = std::make_shared<NornHesper::CidInfo>();
  Publication publication(text.data(), text.size() - 1, vm);
  EXPECT_EQ(Parse(publication), (Outcome{"", 18446744073709551615U}));
  EXPECT_EQ(publication.Topic(), "a.b");
  EXPECT_EQ(publication.Token(), "t");
  EXPECT_EQ(publication.createTime.ToString(), "2026-11-24T21:15:00Z");
  EXPECT_EQ(std::string(publication.payload.begin(), publication.payload.end()), "hi");
  EXPECT_EQ(publication.PayloadBase64(), "aGk=");
  EXPECT_THAT(publication.subscribers, testing::ElementsAre(9, 0, 9, 18446744073709551615U));
  EXPECT_EQ(publication.cidInfo, vm);
  // The parser has not changed the text that it was given.
  EXPECT_EQ(publication.text, text.substr(0, text.size() - 1));
  EXPECT_STREQ(publication.document["header"]["topic"].GetString(), "a.b");
}

TEST(PublicationTest, RefusesInTheOrderOfTheChecks) {
  struct Case {
    std::string text;
    std::string fault;  // %1 stands for the text
    std::optional<uint64_t> sequence;
  };
  const std::string unsignedFault = "sequence not an unsigned integer, %1";
  const std::string bad = R"(,"subscribers":)";
  const Case cases[] = {
      {"", "failed to json-parse '%1'", {}},
      {"{} {}", "failed to json-parse '%1'", {}},
      {GoodText(7) + ",", "failed to json-parse '%1'", {}},
      {R"({"say":"%1 "quoted" %2"})", "failed to json-parse '%1'", {}},
      {"5", "missing header, %1", {}},
      {"[]", "missing header, %1", {}},
      {R"({"header":[]})", "header not an object, %1", {}},
      {R"({"header":5,"header":{}})", "header not an object, %1", {}},
      {R"({"header":{}})", "missing sequence, %1", {}},
      {Text(R"("sequence":18446744073709551616)", ""), unsignedFault, {}},
      {Text(R"("sequence":-1)", ""), unsignedFault, {}},
      {Text(R"("sequence":1.0)", ""), unsignedFault, {}},
      {Text(R"("sequence":null,"sequence":7)", ""), unsignedFault, {}},
      {Text(R"("sequence":7)" + bad + "null", ""), "subscribers invalid, %1", 7},
      {Text(R"("sequence":7)" + bad + R"("5")", ""), "subscribers invalid, %1", 7},
      {Text(R"("sequence":7)" + bad + R"([5,"x"])", ""), "subscriber not an unsigned integer, %1", 7},
      {Text(R"("sequence":7,"createTime":"noon","topic":"a","token":"t")", R"("category":"c","base64":"*")"),
       "invalid createTime field in %1", 7},
      {Text(kHeader, R"("category":"c","base64":"aGk")"), "invalid base64 encoding in %1", 7},
  };
  for (const Case& each : cases) {
    std::string fault = each.fault;
    fault.replace(fault.find("%1"), 2, each.text);
    EXPECT_EQ(Parse(each.text), (Outcome{fault, each.sequence}));
  }
}

TEST(PublicationTest, NamesThePlaceOfASchemaFault) {
  const std::string topicPlace = "#/properties/header/properties/topic(type), doc: #/header/topic";
  const std::string time = R"("sequence":7,"createTime":"2026-11-24T21:15:00Z",)";
  const std::pair<std::string, std::string> cases[] = {
      {R"({"header":{)" + kHeader + "}}", "#(required), doc: #"},
      {Text(R"("sequence":7,"createTime":"noon","token":"t")", kPayload),
       "#/properties/header(required), doc: #/header"},
      {Text(time + R"("topic":5,"token":"t")", kPayload), topicPlace},
      {Text(time + R"("topic":{"topic":"a"},"token":"t")", kPayload), topicPlace},
      // The schema, other than the look-ups, sees every occurrence of a member.
      {Text(kHeader + R"(,"topic":null)", kPayload), topicPlace},
      {Text(kHeader + R"(,"sequence":1.5)", kPayload),
       "#/properties/header/properties/sequence(type), doc: #/header/sequence"},
      {Text(kHeader, R"("category":7,"base64":"aGk=")"),
       "#/properties/payload/properties/category(type), doc: #/payload/category"},
      {R"({"header":{)" + kHeader + R"(},"payload":"aGk="})", "#/properties/payload(type), doc: #/payload"},
  };
  for (const auto& [text, place] : cases) {
    EXPECT_EQ(Parse(text), (Outcome{"unmatched schema: " + place, 7})) << text;
  }
}

TEST(PublicationTest, AcceptsWhatTheFormatLeavesOpen) {
  const std::string cases[] = {
      Text(kHeader + R"(,"x":[1,{"y":null}],"topic ":5)", kPayload + R"(,"header":0)"),
      Text(kHeader, kPayload + R"(,"base64":"*","category":"d")"),
      R"({"a/b~c%":{"d":[[true],{"":1e9}]},)" + GoodText(7).substr(1),
      "\n\t " + GoodText(7) + " \r\n",
      GoodText(7) + "\0{ no json"s,
      Text(kHeader + R"(,"bytes":")" + "\xff\xc0\x80\xed\xa0\x80" + R"(")", kPayload),
      Text(kHeader + R"(,"nul":"\u0000","pair":"\ud83d\ude00")", kPayload),
      R"({"payload":{"base64":"aGk=","category":"c"},"header":{)" + std::string(kTimes) +
          R"(,"sequence":7}})",
  };
  for (const std::string& text : cases) {
    EXPECT_EQ(Parse(text), (Outcome{"", 7})) << text;
  }
  // JSON has no such strings.
  for (const std::string& string : {R"("\ud83d")"s, "\"\n\""s, "\"\0\""s, R"("\x41")"s}) {
    EXPECT_THAT(Parse(Text(kHeader + R"(,"s":)" + string, kPayload)).fault,
                testing::StartsWith("failed to json-parse"));
  }
}

TEST(PublicationTest, OffersThePayloadInItsOneTextForm) {
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"", "", ""},
      {"aGl=", "hi", "aGk="},               // bits that the padding leaves unused
      {R"(aG\u0069\/)", "hh\xbf", "aGi/"},  // escapes
      {R"(aGk=\u0000rest)", "hi", "aGk="},  // an escaped NUL ends the text
      {R"(\u0000)", "", ""},
      {Repeat("/+8A", 17000), Repeat("\xff\xef\0"s, 17000), Repeat("/+8A", 17000)},
  };
  for (const auto& [base64, bytes, canonical] : cases) {
    const std::string text = Text(kHeader, R"("category":"c","base64":")" + base64 + '"');
    Publication publication(text.data(), text.size(), nullptr);
    EXPECT_EQ(Parse(publication), (Outcome{"", 7}));
    EXPECT_EQ(std::string(publication.payload.begin(), publication.payload.end()), bytes);
    EXPECT_EQ(publication.PayloadBase64(), canonical);
  }
}

TEST(PublicationTest, NestingCostsNoStack) {
  const std::string pair = Repeat("[", 34804) + Repeat("]", 34804);
  const std::string open = Repeat("[", kLargest);
  const std::string objects = Repeat(R"({"":)", 13000) + "0" + Repeat("}", 13000);
  const std::string deep = Repeat("[", 34700) + Repeat("]", 34700);
  OnSmallStack([&] {
    EXPECT_EQ(Parse(pair), (Outcome{"missing header, " + pair, {}}));
    EXPECT_EQ(Parse(open), (Outcome{"failed to json-parse '" + open + "'", {}}));
    EXPECT_EQ(Parse(R"({"deep":)" + deep + "," + GoodText(7).substr(1)), (Outcome{"", 7}));
    EXPECT_EQ(Parse(GoodText(7, R"(,"deep":)" + objects)), (Outcome{"", 7}));
    EXPECT_EQ(
        Parse(GoodText(7, R"(,"topic":)" + deep)),
        (Outcome{"unmatched schema: #/properties/header/properties/topic(type), doc: #/header/topic", 7}));
    EXPECT_EQ(Parse(GoodText(7, R"(,"subscribers":[0)" + Repeat(",0", 34000) + "]")), (Outcome{"", 7}));
  });
}

}  // namespace

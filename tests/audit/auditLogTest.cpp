#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/audit/audit.h"
#include "platform/corvane/textEscape.h"
#include "tests/audit/lastRecord.h"

namespace {

TEST(TessalyAuditTest, OneLineOfJsonARecord) {
  const TessalyAuditItem items[] = {{"key", "value"}, {"empty", nullptr}, {nullptr, nullptr}};
  TessalyAudit_LogList("api.call", "root", "a:b", true, items);
  const auto record = LastRecord();
  EXPECT_EQ(TextOf(record, "event"), "api.call");
  EXPECT_EQ(TextOf(record, "subject"), "root");
  EXPECT_EQ(TextOf(record, "object"), "a:b");
  EXPECT_TRUE(record["result"].IsTrue());
  EXPECT_EQ(TextOf(record["items"], "key"), "value");
  EXPECT_EQ(TextOf(record["items"], "empty"), "");
  EXPECT_EQ(record["items"].MemberCount(), 2U);
  auto time = TextOf(record, "time");
  std::replace_if(
      time.begin(), time.end(), [](char c) { return c >= '0' && c <= '9'; }, '0');
  EXPECT_EQ(time, "0000-00-00T00:00:00.000000Z");

  TessalyAudit_LogList(nullptr, nullptr, nullptr, false, nullptr);
  EXPECT_FALSE(LastRecord().HasMember("items"));
}

TEST(TessalyAuditTest, HostileTextsStayInTheirPlace) {
  const std::string bad = "\xEF\xBF\xBD";
  const std::string wide = "\xE2\x82\xAC";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"\"}\n{\"event\":\"x\\", "\"}\n{\"event\":\"x\\"},
      {"\x01\x7f\r\t", "\x01\x7f\r\t"},
      {"a\xff"
       "b\xc3"
       "c\xc0\x80",
       "a" + bad + "b" + bad + "c" + bad + bad},
      {"\xed\xa0\x80", bad + bad + bad},
      {"\xc2\x9b\xe2\x80\xae\xf3\xa0\x81\x81", "\xc2\x9b\xe2\x80\xae\xf3\xa0\x81\x81"},
      {std::string(256, 'x'), std::string(256, 'x')},
      {std::string(1 << 20, 'x'), std::string(256, 'x') + "..."},
      // What counts is what is written.
      {std::string(8192, '\x01'), std::string(42, '\x01') + "..."},
      {std::string(254, 'x') + wide, std::string(254, 'x') + "..."},
  };
  for (const auto& [text, expected] : cases) {
    const TessalyAuditItem items[] = {{text.c_str(), text.c_str()}, {nullptr, nullptr}};
    TessalyAudit_LogList(text.c_str(), text.c_str(), text.c_str(), true, items);
    const auto written = LastLine();
    EXPECT_TRUE(Corvane::Detail::IsPlainLine(written)) << written;
    const auto record = LastRecord();
    for (const char* key : {"event", "subject", "object"}) EXPECT_EQ(TextOf(record, key), expected);
    EXPECT_EQ(TextOf(record["items"], expected.c_str()), expected);
    EXPECT_EQ(record.MemberCount(), 6U);
  }
}

}  // namespace

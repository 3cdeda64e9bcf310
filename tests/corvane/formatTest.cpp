#include "platform/corvane/format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "platform/corvane/jsonEscape.h"
#include "platform/corvane/panic.h"
#include "platform/corvane/textEscape.h"

namespace {

using Corvane::Detail::ASPrintInternal;
using Corvane::Detail::EscapeJson;
using Corvane::Detail::EscapeLine;
using Corvane::Detail::EscapeName;
using Corvane::Detail::IsPlainLine;

TEST(FormatTest, ArgumentsOfAllKinds) {
  EXPECT_EQ(ASPrintInternal("%1 %2 %3 %4 %5", std::numeric_limits<std::int64_t>::min(),
                            std::numeric_limits<std::uint64_t>::max(), "text", std::string("string"), true),
            "-9223372036854775808 18446744073709551615 text string true");
  EXPECT_EQ(ASPrintInternal("%9%1%1", 1, 2, 3, 4, 5, 6, 7, 8, std::uint8_t{9}), "911");
  EXPECT_EQ(ASPrintInternal("%1%2", std::string_view("a\0b", 3), 'c'), std::string("a\0bc", 4));
}

TEST(FormatTest, OddPercentSignsStay) {
  EXPECT_EQ(ASPrintInternal("%0 %% %x %2 %", 1), "%0 %% %x %2 %");
  EXPECT_EQ(ASPrintInternal("%1 stays"), "%1 stays");
}

TEST(FormatTest, ArgumentsAreNotReadAgain) {
  EXPECT_EQ(ASPrintInternal("'%1', %2", "%2%1%", "%1"), "'%2%1%', %1");
}

TEST(EscapeTest, WhatCouldForgeOrHideALine) {
  const std::pair<std::string_view, const char*> cases[] = {
      {"a\r\nb\tc", "a\\r\\nb\\tc"},
      {{"nul\0end", 7}, "nul\\x00end"},
      {"\x1b[2J\x7f", "\\x1b[2J\\x7f"},
      {"csi \xc2\x9b", "csi \\u009b"},
      {"\xe2\x80\xa8 \xe2\x80\xae \xe2\x81\xa6", "\\u2028 \\u202e \\u2066"},
      {"\xff\xc3", "\\xff\\xc3"},
      {"over\xc0\xaf", "over\\xc0\\xaf"},
      {"surrogate\xed\xa0\x80", "surrogate\\xed\\xa0\\x80"},
      {"cut \xe2\x82\nx", "cut \\xe2\\x82\\nx"},
  };
  for (const auto& [text, escaped] : cases) {
    EXPECT_FALSE(IsPlainLine(text)) << escaped;
    EXPECT_EQ(EscapeLine(text), escaped);
  }
}

TEST(EscapeTest, NamesAreCutByWhatIsShownOfThem) {
  const std::string most(256, 'n');
  EXPECT_EQ(EscapeName(most), most);
  EXPECT_EQ(EscapeName(most + "n"), most + "...");
  EXPECT_EQ(EscapeName(std::string(1 << 20, '\x01')).size(), 259U);
  EXPECT_EQ(EscapeName(most.substr(2) + "\xe2\x82\xac"), most.substr(2) + "...");
}

TEST(EscapeTest, JsonKeepsItsValue) {
  EXPECT_EQ(EscapeJson("{\"a\\n\":\"\x7f\xc2\x9b\xe2\x80\xae\xe2\x82\xac\xff\"}"),
            "{\"a\\n\":\"\\u007f\\u009b\\u202e\xe2\x82\xac\xef\xbf\xbd\"}");
}

TEST(PanicDeathTest, NamesThePlace) {
  EXPECT_DEATH(NOT_REACHED(), "NOT_REACHED .*formatTest.cpp:[0-9]+\n");
  EXPECT_DEATH(VERIFY(1 > 2), "VERIFY .*formatTest.cpp:[0-9]+\n");
  VERIFY(2 > 1);
}

}  // namespace

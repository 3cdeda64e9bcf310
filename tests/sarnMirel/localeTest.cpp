#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "framework/core/errorCategories.h"
#include "lib/sarnMirel/l10n/pelagorMirelLocalizerHelper.h"
#include "platform/corvane/exception.h"
#include "platform/pelagor/locale.h"
#include "testing/temporaryFolder.h"

namespace SarnMirel {
namespace {

using Corvane::System::DateTime;
using Mirel::DateTimeError;
using Mirel::L10n::DateTimeFormat;
using Mirel::L10n::L10nError;
using Mirel::L10n::LanguagePreference;
using Testing::TemporaryFolder;

constexpr const char* kMarker = "_pelagor-mirel_error_not_found_";

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class LocaleTest : public testing::Test {
 protected:
  LocaleTest() {
    folder.Write("de.json", R"({"greeting":"Gr\u00fc\u00dfe","both":"deutsch"})");
    folder.Write("de_AT.json", R"({"greeting":"Servus"})");
    folder.Write("en.json", std::string(R"({"greeting":"Hello","marker":")") + kMarker + "\"}");
    folder.Write("README", "no catalogue");
    locale.emplace(folder / "");
  }

  std::string Format(const char* name, std::string_view text,
                     const std::vector<Pelagor::Argument>& arguments) {
    locale->Select(name);
    return locale->Format(text, arguments);
  }

  std::string Show(const std::string& text, DateTimeFormat format, const LanguagePreference& preference) {
    Mirel::DateTime time;
    Mirel::DateTime::Create(text, time);
    ec.clear();
    return Formatter().dateTime(time, format, {}, preference, ec);
  }

  Mirel::L10n::ArgumentFormatter Formatter() {
    return PelagorArgumentFormatterHelper::MakeFormatter({"en", "de", "de_AT"}, &*locale);
  }

  TemporaryFolder folder;
  std::optional<Pelagor::Locale> locale;
  std::error_code ec;
};

TEST_F(LocaleTest, MessagesComeFromTheNearestCatalogue) {
  const auto find = [&](const char* name, const char* id) {
    locale->Select(name);
    return locale->Find(id, "none");
  };
  EXPECT_EQ(locale->Find("greeting", "none"), "Hello");
  EXPECT_EQ(find("de", "greeting"), "Gr\u00fc\u00dfe");
  for (const char* austria : {"de_AT", "de-AT", "de_at", "de_AT@currency=EUR"}) {
    EXPECT_EQ(find(austria, "greeting"), "Servus");
    EXPECT_EQ(find(austria, "both"), "deutsch");
  }
  for (const char* unknown : {"fr", "", "../de", "d", "\xff\xfe"}) {
    EXPECT_EQ(find(unknown, "greeting"), "none");
  }
  EXPECT_EQ(find(std::string(1000000, 'd').c_str(), "greeting"), "none");
}

TEST_F(LocaleTest, FaultyCataloguesAreTold) {
  const TemporaryFolder faulty;
  for (const char* text : {"", "[]", R"({"a":1})", R"({"a":"b","a":"c"})", "{\"a\":\"\xff\"}"}) {
    faulty.Write("de.json", text);
    EXPECT_THROW(Pelagor::Locale(faulty / ""), Corvane::Exception) << text;
  }
  EXPECT_THROW(Pelagor::Locale(folder / "none"), Corvane::Exception);
  folder.Write("de-at.json", "{}");
  EXPECT_THROW(Pelagor::Locale(folder / ""), Corvane::Exception);
}

TEST_F(LocaleTest, FieldsAreFilledInTheLocale) {
  const std::vector<Pelagor::Argument> numbers{std::int64_t{-1234567}, 1234.123456789};
  EXPECT_EQ(Format("en", "{1,I}|{2,F,s}|{2,F,m}|{2,F,l}|{2}", numbers),
            "-1,234,567|1,234.12|1,234.123457|1,234.123456789|1,234.123457");
  EXPECT_EQ(Format("de", "{2,F,s}{1,I}{1,I}", numbers), "1.234,12-1.234.567-1.234.567");
  EXPECT_EQ(Format("en", "{1,F,l}", {std::int64_t{7}}), "7");
  EXPECT_EQ(Format("en", "{10}{1}", std::vector<Pelagor::Argument>(10, "{1}")), "{1}{1}");
  EXPECT_EQ(Format("en", "{1,I}", {std::numeric_limits<std::int64_t>::min()}), "-9,223,372,036,854,775,808");
  for (const double odd : {1e300, -1e-300, std::numeric_limits<double>::infinity(), std::nan("")}) {
    EXPECT_NE(Format("de", "{1,F,l}", {odd}), "");
  }

  const std::vector<Pelagor::Argument> time{DateTime::Parse("1066-10-14T09:05:03.999Z")};
  EXPECT_EQ(Format("en", "{1,D,l}", time), "October 14, 1066");
  EXPECT_EQ(Format("de", "{1,D,m} {1,T,s} {1,T,m}", time), "14.10.1066 09:05 09:05:03");
  EXPECT_TRUE(Holds(Format("de", "{1,T,l}", time), "UTC"));
  EXPECT_TRUE(Holds(Format("de", "{1}", time), "14.10.1066 09:05:03"));
  EXPECT_TRUE(Holds(Format("de", "{1,T,m}", {DateTime(-1)}), "23:59:59"));
  for (const auto end :
       {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_FALSE(Holds(Format("en", "{1,D,l} {1,T,l}", {DateTime(end)}), "{"));
  }
}

TEST_F(LocaleTest, WhatIsNoFieldStaysAsItStands) {
  const std::vector<Pelagor::Argument> arguments{std::int64_t{5}, "text", DateTime(0)};
  std::istringstream texts(
      "{ } {} {0} {4} {-1} {+1} {1,} {1,X} {1,I,s} {1,F,x} {1,F,l,} {1,D,s} {2,I} {3,I} {2,T,s} "
      "{3,F,l} {1,I {1,F,ll} {name} {99999999999999999999} {00000000000000000000000000000001}");
  for (std::string text; texts >> text;) EXPECT_EQ(Format("en", text, arguments), text);
  EXPECT_EQ(Format("en", "{{1}{x{1,I}}{", arguments), "{5{x5}{");
  EXPECT_EQ(Format("en", std::string(2000000, '{'), arguments).size(), 2000000U);
}

TEST_F(LocaleTest, TemplatesComeFromTheNamedLocaleAlone) {
  const auto find = PelagorMessageTemplateHelper::MakeMessageTemplateCb({"en", "de"}, &*locale);
  const auto ask = [&](const char* id, const char* name) {
    ec.clear();
    return find(id, name, ec);
  };
  EXPECT_EQ(ask("greeting", "de"), "Gr\u00fc\u00dfe");
  EXPECT_EQ(ask("greeting", "en"), "Hello");
  EXPECT_FALSE(ec);
  const std::pair<const char*, const char*> missing[] = {
      {"greeting", "de_AT"}, {"greeting", "DE"}, {"greeting", ""}, {"other", "de"}, {"marker", "en"}};
  for (const auto& [id, name] : missing) {
    EXPECT_EQ(ask(id, name), id);
    EXPECT_EQ(ec, L10nError::LocaleNotSupported) << id << name;
  }
}

TEST_F(LocaleTest, FormatsFollowThePreference) {
  const auto formatter = Formatter();
  const LanguagePreference german{{"fr", "de-CH"}};
  const LanguagePreference plain{{"c"}};
  EXPECT_EQ(formatter.integer(-1234567, german, ec), "-1.234.567");
  EXPECT_EQ(formatter.integer(-1234567, plain, ec), "-1,234,567");
  EXPECT_EQ(formatter.real(1234.123456789, 2, german, ec), "1.234,123456789");
  EXPECT_EQ(formatter.real(0.5, 9, plain, ec), "0.5");
  EXPECT_FALSE(ec);

  const std::string time = "2026-11-24T21:15:07.250+01:00";
  for (const LanguagePreference& none : {LanguagePreference{}, LanguagePreference{{"C", "fr"}}}) {
    EXPECT_EQ(formatter.integer(-1234567, none, ec), "-1234567");
    EXPECT_EQ(std::exchange(ec, {}), L10nError::FormatLocaleNotSupported);
    EXPECT_EQ(formatter.real(1234.5, 2, none, ec), "1234.500000");
    EXPECT_EQ(std::exchange(ec, {}), L10nError::FormatLocaleNotSupported);
    EXPECT_EQ(Show(time, DateTimeFormat::FullDate, none), time);
    EXPECT_EQ(ec, L10nError::FormatLocaleNotSupported);
  }
}

TEST_F(LocaleTest, EachFormatHasItsTemplate) {
  const LanguagePreference german{{"de"}};
  const auto show = [&](int format) {
    return Show("2026-11-24T21:15:07.250+01:00", static_cast<DateTimeFormat>(format), german);
  };
  const std::pair<int, const char*> exact[] = {
      {0, "24.11.26"}, {1, "24.11.2026"},     {2, "24. November 2026"},  {4, "20:15"},
      {5, "20:15:07"}, {8, "24.11.26 20:15"}, {9, "24.11.2026 20:15:07"}};
  for (const auto& [format, text] : exact) EXPECT_EQ(show(format), text);
  EXPECT_EQ(show(3), show(2));
  EXPECT_TRUE(Holds(show(6), "20:15:07 ") && show(6) == show(7)) << show(6);
  EXPECT_EQ(show(10), show(2) + ' ' + show(6));
  EXPECT_EQ(show(11), show(10));
  EXPECT_FALSE(ec);
  for (const char* text : {"0000-01-01T00:00:00Z", "2016-12-31T23:59:60Z", ""}) {
    EXPECT_EQ(Show(text, DateTimeFormat::LongDate, german), "Failed_to_convert_DateTime");
    EXPECT_EQ(ec, DateTimeError::CreationFailed);
  }
  EXPECT_DEATH(show(12), "NOT_REACHED .*pelagorMirelLocalizerHelper.cpp:");
}

}  // namespace
}  // namespace SarnMirel

#include "framework/provider/localization.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "apps/nornhesperd/messageCatalogue.h"
#include "framework/core/errorCategories.h"
#include "framework/core/executionContext.h"
#include "framework/core/l10n.h"

namespace Mirel::L10n {
namespace {

const std::string kMissingId = "com.tessaly.norn.hesper.guest_data.vm_id_missing_in_filter_spec";

std::shared_ptr<const Localizer> CatalogueLocalizer() {
  return std::make_shared<const Localizer>(std::list<std::string>{"en_US"},
                                           &NornHesper::MessageCatalogueLookup,
                                           LocalizerHelpers::GetDefaultFormatter(), LocalizerSpec{});
}

TEST(NamedFormatTest, Grammar) {
  struct Case {
    std::string_view text;
    std::string_view expected;
    std::error_code ec;
  };
  const std::error_code ok;
  const Case cases[] = {
      {"", "", ok},
      {"{a}-{b}-{a}", "1-{a}-1", ok},
      {"{{a}} {{{a}}}", "{a} {1}", ok},
      {"lone } and {", "lone } and {", ok},
      {"{a", "{a", ok},
      {"{x} {a}", "{x} 1", FormatError::NamedArgumentNotFound},
      {"{} {x} {a}", "{} {x} 1", FormatError::EmptyNamedSpecifier},
      {"{ a}", "{ a}", FormatError::NamedArgumentNotFound},
  };
  for (const auto& test : cases) {
    std::error_code ec;
    EXPECT_EQ(FormatNamed(test.text, {{"a", "1"}, {"b", "{a}"}}, ec), test.expected) << test.text;
    EXPECT_EQ(ec, test.ec) << test.text;
  }
}

TEST(LocalizerTest, DaemonCatalogue) {
  std::error_code ec;
  const auto locale = MakeDefaultRequestLocalizer().locale;
  const auto message = CatalogueLocalizer()->Localize(
      {kMissingId, "", {{"vmIdType", MsgArgument(std::string("BIOS_UUID"))}}}, locale, ec);
  EXPECT_EQ(message.id, kMissingId);
  EXPECT_EQ(message.defaultMessage,
            "Required virtual machine identifier of BIOS_UUID is not foundin a filter specification}");
  EXPECT_EQ(message.args, std::vector<std::string>{"BIOS_UUID"});
  EXPECT_EQ(CatalogueLocalizer()->Localize({"no.such.id", "", {}}, locale, ec).defaultMessage,
            "Unknown message.");
  EXPECT_FALSE(ec);
}

TEST(LocalizerTest, RendersArgumentsInTheOrderOfTheirNames) {
  DateTime time;
  ASSERT_TRUE(DateTime::Create("2026-11-24T21:15:00.250Z", time));
  const NamedMessageBuilder message{"id",
                                    "{d} {c} {b} {a}",
                                    {{"b", MsgArgument(2.5)},
                                     {"a", MsgArgument(std::int64_t(-7))},
                                     {"d", MsgArgument(time)},
                                     {"c", MsgArgument(std::string("{a}"))}}};
  std::error_code ec;
  for (const auto& localizer : {Localizer(), *LocalizerHelpers::GetDefaultLocalizer()}) {
    const auto result = localizer.Localize(message, {}, ec);
    EXPECT_EQ(result.defaultMessage, "2026-11-24T21:15:00.250Z {a} 2.500000 -7");
    EXPECT_EQ(result.args, (std::vector<std::string>{"-7", "2.500000", "{a}", "2026-11-24T21:15:00.250Z"}));
  }
}

TEST(LocaleTest, ReadsPreferences) {
  const auto read = [](std::string_view text) {
    std::error_code ec;
    auto locales = LocaleHelpers::MakeLanguagePreference(text, ec).locales;
    EXPECT_EQ(ec, locales.empty() ? make_error_code(L10nError::BadLocaleHeader) : std::error_code()) << text;
    return locales;
  };
  using Names = std::vector<std::string>;
  EXPECT_EQ(read("en_US"), Names{"en_US"});
  EXPECT_EQ(read("C"), Names{"C"});
  EXPECT_EQ(read("fr;q=0.5, de-AT , *;q=0.001,it; Q=1.000,, es;q=0"), (Names{"de-AT", "it", "fr", "*"}));
  for (const auto* bad :
       {"", ",", "e n", "en-", "-en", "en_", "123456789", "en;q=2", "en;q=1.5", "en;q=0.1234",
        "en;q=", "en;p=1", "en;q=-1", "en;q=0x1", "en\r\nX: y", "\xc3\xa9"}) {
    EXPECT_EQ(read(bad), Names{}) << bad;
  }
  EXPECT_EQ(read(std::string(100000, ',') + "en"), Names{});
}

TEST(LocaleTest, ClientsWishesFallBackToDefaults) {
  const auto extract = [](std::map<std::string, std::string> entries, std::error_code& ec) {
    const auto spec = LocaleSpecHelpers::ExtractLocaleSpec({std::move(entries), {}}, ec);
    return spec.messages.locales.at(0) + " " + spec.formats.locales.at(0) + " " + spec.timezone.name;
  };
  std::error_code ec;
  EXPECT_EQ(extract({}, ec), "en_US C Etc/UTC");
  EXPECT_EQ(extract({{"acceptLanguage", "de"}, {"formatLocale", "fr_FR"}, {"timezone", "Europe/Berlin"}}, ec),
            "de fr_FR Europe/Berlin");
  EXPECT_EQ(extract({{"acceptLanguage", "de;q=0"}, {"timezone", "../../x y"}}, ec), "en_US C Etc/UTC");
  EXPECT_FALSE(ec);
  EXPECT_EQ(extract({{"acceptLanguage", "de"}, {"formatLocale", "?"}}, ec), "de C Etc/UTC");
  EXPECT_EQ(ec, L10nError::BadLocaleHeader);
}

}  // namespace
}  // namespace Mirel::L10n

#include "apps/nornhesperd/acknowledgement.h"

#include <gtest/gtest.h>

namespace {

TEST(AcknowledgementTest, CutsLongDiagnosisAndStaysOneDatagram) {
  constexpr std::size_t kFrame = sizeof("error(s): {65538, }") - 1;
  const std::string head = "{\n\"sequence\":18446744073709551615,\n\"status\":\"bad\",\n\"diagnosis\":\"";
  for (const std::size_t excess : {0, 1, 500}) {
    NornHesper::PublishOutcome outcome{{}, true, 18446744073709551615U};
    outcome.errors.AddError(65538, std::string(69480 - kFrame + excess, '"'));
    const std::string text = MakeAcknowledgement(outcome);
    EXPECT_EQ(text, head + outcome.errors.ToString().substr(0, 69480) + "\",\n\"rateLimit\":2\n}");
    EXPECT_LE(text.size(), 69608U);
  }
}

}  // namespace

#include "apps/nornhesperd/acknowledgement.h"

#include <gtest/gtest.h>

namespace {

using NornHesper::MakeAcknowledgement;
using NornHesper::PublishOutcome;

PublishOutcome Bad(const std::string& message) {
  PublishOutcome outcome;
  outcome.errors.AddError(65538, message);
  return outcome;
}

TEST(AcknowledgementTest, HasExactBytes) {
  EXPECT_EQ(MakeAcknowledgement({{}, true, 7}), "{\n\"sequence\":7,\n\"status\":\"ok\",\n\"rateLimit\":2\n}");
  EXPECT_EQ(MakeAcknowledgement({{}, true, 18446744073709551615U}),
            "{\n\"sequence\":18446744073709551615,\n\"status\":\"ok\",\n\"rateLimit\":2\n}");
  PublishOutcome bad = Bad("missing \"header\",\n{}");
  const std::string rest =
      "\"status\":\"bad\",\n\"diagnosis\":\"error(s): {65538, missing "
      "\"header\",\n{}}\",\n\"rateLimit\":2\n}";
  EXPECT_EQ(MakeAcknowledgement(bad), "{\n" + rest);
  bad.hasSequence = true;
  EXPECT_EQ(MakeAcknowledgement(bad), "{\n\"sequence\":0,\n" + rest);
}

TEST(AcknowledgementTest, CutsLongDiagnosisAndStaysOneDatagram) {
  constexpr size_t kFrame = sizeof("error(s): {65538, }") - 1;
  const std::string head = "{\n\"sequence\":18446744073709551615,\n\"status\":\"bad\",\n\"diagnosis\":\"";
  const std::string tail = "\",\n\"rateLimit\":2\n}";
  for (const size_t excess : {0, 1, 500}) {
    PublishOutcome outcome = Bad(std::string(69480 - kFrame + excess, 'x'));
    outcome.hasSequence = true;
    outcome.sequence = 18446744073709551615U;
    const std::string text = MakeAcknowledgement(outcome);
    EXPECT_EQ(text, head + outcome.errors.ToString().substr(0, 69480) + tail);
    EXPECT_LE(text.size(), 69608U);
  }
}

}  // namespace

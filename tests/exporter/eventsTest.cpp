#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/corvane/stringUtil.h"
#include "testing/daemon.h"
#include "testing/eventually.h"
#include "tests/exporter/exporterProcess.h"

namespace Testing {
namespace {

class Guest {
 public:
  Guest(std::uint32_t cid, const Daemon& daemon) : vm_(cid), socket_(cid), daemon_(daemon) {}

  // The kernel takes two a second; what it drops is sent again.
  void Say(const std::string& topic, const std::string& payload, const std::string& moreHeader = "") {
    const auto text =
        PublicationText(++sequence_, topic, Corvane::StringUtil::Base64Encode(payload), moreHeader);
    ASSERT_TRUE(Eventually([&] {
      return Publish(socket_, daemon_, text, std::chrono::milliseconds(700)) ==
             GoodAcknowledgement(sequence_);
    }));
  }
  void SendOnly(const std::string& topic) {
    socket_.Send(daemon_.vmPort(), PublicationText(++sequence_, topic, "eA=="));
  }
  std::string Name() const { return vm_.MgrVmId(); }

 private:
  Vm vm_;
  Krell::GuestSocket socket_;
  const Daemon& daemon_;
  std::uint64_t sequence_ = 0;
};

class EventsTest : public ::testing::Test {
 protected:
  EventsTest() { exporter_.WaitForStream(); }

  rapidjson::Document Overview() const {
    rapidjson::Document document;
    const auto body = exporter_.Get("/api/overview", cookie_).body;
    document.Parse(body.data(), body.size());
    return document;
  }

  Daemon daemon_;
  ExporterProcess exporter_{daemon_.port()};
  std::string cookie_ = exporter_.Login();
};

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(EventsTest, PublicationIsSeenAtOnceByThoseWhoWantIt) {
  Guest web(5, daemon_);
  Guest other(6, daemon_);
  web.Say("app.before", "early");
  EventReader all(exporter_, cookie_);
  EventReader byVm(exporter_, cookie_, "?vm=" + other.Name());
  EventReader byTopic(exporter_, cookie_, "?topic=app.web");
  EXPECT_TRUE(Has(all.head(), "text/event-stream"));
  EXPECT_TRUE(Has(all.Next(), R"("text":"early")"));
  const auto begin = std::chrono::steady_clock::now();
  web.Say("app.web.x", "one");
  const auto event = all.Next();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(SANITIZED ? 5 : 1));
  EXPECT_TRUE(event.starts_with("event: publication\ndata: {\"vm\":\"vm-5\",\"topic\":\"app.web.x\""))
      << event;
  EXPECT_TRUE(Has(event, R"("history":false,"bytes":3,"text":"one"})")) << event;
  other.Say("app.website", "two");
  EXPECT_TRUE(Has(byVm.Next(), "two"));
  other.Say("app.web", "three");
  EXPECT_TRUE(Has(byTopic.Next(), "one"));
  EXPECT_TRUE(Has(byTopic.Next(), "three"));
}

TEST_F(EventsTest, GuestsWordsStayData) {
  Guest guest(5, daemon_);
  EventReader viewer(exporter_, cookie_);
  const std::string attack = "</script><img src=x onerror=alert(1)>\n\nevent: skipped\ndata: {}\n\n\r\r";
  guest.Say("metrics.a<b>", attack);
  const auto event = viewer.Next();
  EXPECT_EQ(event.find("\n\n"), event.size() - 2);
  EXPECT_EQ(event.find('\r'), std::string::npos);
  rapidjson::Document data;
  const auto json = event.substr(event.find("data: ") + 6);
  data.Parse(json.data(), json.size());
  ASSERT_FALSE(data.HasParseError()) << event;
  EXPECT_EQ(data["text"].GetString(), attack);
  EXPECT_STREQ(data["topic"].GetString(), "metrics.a<b>");

  guest.Say("app.binary", std::string("\xff\0x", 3));
  EXPECT_TRUE(Has(viewer.Next(), R"("bytes":3,"base64":"/wB4"})"));
  // The cut falls into a character of two bytes.
  std::string longText = "x";
  for (int i = 0; i < 3000; ++i) longText += "\xc3\xa4";
  guest.Say("app.long", longText);
  const auto cut = viewer.Next();
  EXPECT_TRUE(Has(cut, R"("bytes":6001,"text":"x)"));
  EXPECT_TRUE(Has(cut, "\xc3\xa4\",\"cut\":true}")) << cut.substr(cut.size() - 40);
  EXPECT_LT(cut.size(), 4096U + 300U);
}

TEST_F(EventsTest, OverviewShowsEachVm) {
  Guest one(7, daemon_);
  Guest two(5, daemon_);
  one.Say("app.a", "1");
  one.Say("metrics.node", "no metrics {{{");
  two.Say("app.b", "1");
  ASSERT_TRUE(Eventually([&] { return Overview()["vms"].Size() == 2; }));
  const auto overview = Overview();
  const auto& vms = overview["vms"];
  EXPECT_STREQ(vms[0]["vm"].GetString(), "vm-5");
  EXPECT_STREQ(vms[1]["vm"].GetString(), "vm-7");
  EXPECT_EQ(vms[1]["publications"].GetInt(), 2);
  EXPECT_EQ(vms[1]["refusedTexts"].GetInt(), 1);
  EXPECT_STREQ(vms[1]["topics"][0].GetString(), "metrics.node");
  EXPECT_STREQ(vms[1]["topics"][1].GetString(), "app.a");
  EXPECT_GE(vms[1]["perMinute"].GetDouble(), 1.9);
  EXPECT_LE(overview["time"].GetInt64() - vms[1]["last"].GetInt64(), 60'000);
  EXPECT_TRUE(overview["stream"]["connected"].GetBool());
  EXPECT_EQ(overview["daemon"]["publications"]["accepted"].GetInt(), 3);
}

TEST_F(EventsTest, FloodIsSkippedAndCounted) {
  constexpr int kGuests = 120;
  std::vector<std::unique_ptr<Guest>> guests;
  for (std::uint32_t i = 0; i < kGuests; ++i) guests.push_back(std::make_unique<Guest>(100 + i, daemon_));
  EventReader viewer(exporter_, cookie_);
  for (const auto& guest : guests) guest->SendOnly("app.flood");
  int seen = 0;
  int skipped = 0;
  while (seen + skipped < kGuests) {
    const auto event = viewer.Next();
    constexpr std::string_view kSkipped = "event: skipped\ndata: {\"count\":";
    if (event.starts_with(kSkipped)) {
      skipped += std::stoi(event.substr(kSkipped.size()));
    } else {
      ++seen;
    }
  }
  EXPECT_EQ(seen + skipped, kGuests);
  // Slow machines need more than a second for all of them.
  if (skipped != 0) {
    EXPECT_TRUE(
        HasLine(exporter_.Metrics().body, "hesper_exporter_skipped_events_total " + std::to_string(skipped)));
  }
}

}  // namespace
}  // namespace Testing

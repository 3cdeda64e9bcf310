#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <chrono>
#include <memory>
#include <string>

#include "fleet/exporter/bodyPipe.h"
#include "fleet/exporter/bounds.h"
#include "fleet/exporter/eventStreams.h"
#include "fleet/exporter/newestPublications.h"
#include "fleet/exporter/utf8.h"
#include "fleet/exporter/vmTable.h"

namespace Fleet {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

const auto kStart = std::chrono::steady_clock::time_point(std::chrono::hours(1000));

PublicationEvent EventOf(const std::string& vm, const std::string& topic, const std::string& payload = "x") {
  Element element;
  element.vm = vm;
  element.topic = topic;
  element.payload = payload;
  return MakeEvent(element, std::chrono::system_clock::time_point(seconds(1)));
}

rapidjson::Document JsonOf(const VmTable& table, VmTable::Time now) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  table.WriteJson(writer, now, [](const std::string&) { return 0; });
  rapidjson::Document document;
  document.Parse(buffer.GetString(), buffer.GetSize());
  return document;
}

TEST(VmTableTest, ForgetsWhoIsLongestSilent) {
  VmTable table;
  for (std::size_t i = 0; i < kMostVms; ++i) {
    table.Count(EventOf("vm-" + std::to_string(i), "t"), kStart + milliseconds(i));
  }
  table.Count(EventOf("vm-0", "t"), kStart + seconds(10));
  table.Count(EventOf("new", "t"), kStart + seconds(11));
  auto vms = JsonOf(table, kStart + seconds(12));
  EXPECT_EQ(vms.Size(), kMostVms);
  EXPECT_STREQ(vms[0]["vm"].GetString(), "new");
  EXPECT_STREQ(vms[1]["vm"].GetString(), "vm-0");
  EXPECT_STREQ(vms[2]["vm"].GetString(), "vm-10");
  for (rapidjson::SizeType i = 1; i < vms.Size(); ++i) {
    ASSERT_LT(std::string(vms[i - 1]["vm"].GetString()), vms[i]["vm"].GetString());
    ASSERT_STRNE(vms[i]["vm"].GetString(), "vm-1");
  }
  table.Count(EventOf("new", "t"), kStart + std::chrono::hours(25));
  EXPECT_EQ(JsonOf(table, kStart + std::chrono::hours(25)).Size(), 1U);
}

TEST(VmTableTest, TopicsAreTheNewestWithinTheirBounds) {
  VmTable table;
  for (int i = 0; i < 100; ++i) table.Count(EventOf("vm", "t." + std::to_string(i)), kStart);
  table.Count(EventOf("vm", "t.90"), kStart);
  const auto vms = JsonOf(table, kStart);
  const auto& topics = vms[0]["topics"];
  EXPECT_EQ(topics.Size(), 32U);
  EXPECT_STREQ(topics[0].GetString(), "t.90");
  EXPECT_STREQ(topics[1].GetString(), "t.99");
  VmTable longTopics;
  for (int i = 0; i < 40; ++i) {
    longTopics.Count(EventOf("vm", std::to_string(i) + std::string(60'000, 'x')), kStart);
  }
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  longTopics.WriteJson(writer, kStart, [](const std::string&) { return 0; });
  EXPECT_LT(buffer.GetSize(), 5000U);
}

TEST(VmTableTest, RateSlidesOverAMinute) {
  VmTable table;
  for (int second = 0; second < 200; ++second) table.Count(EventOf("vm", "t"), kStart + seconds(second));
  EXPECT_NEAR(JsonOf(table, kStart + milliseconds(199'500))[0]["perMinute"].GetDouble(), 60, 1.1);
  EXPECT_NEAR(JsonOf(table, kStart + seconds(230))[0]["perMinute"].GetDouble(), 30, 1.1);
  EXPECT_EQ(JsonOf(table, kStart + seconds(300))[0]["perMinute"].GetDouble(), 0);
  table.Count(EventOf("vm", "t"), kStart + seconds(3000));
  EXPECT_EQ(JsonOf(table, kStart + seconds(3001))[0]["perMinute"].GetDouble(), 1);
}

TEST(NewestPublicationsTest, AreBoundedInNumberAndBytes) {
  NewestPublications newest;
  for (int i = 0; i < 3000; ++i) {
    newest.Add(std::make_shared<PublicationEvent>(EventOf("vm", "a." + std::to_string(i))));
  }
  const auto all = newest.Matching({}, 5000);
  EXPECT_EQ(all.size(), kMostNewest);
  EXPECT_EQ(all.back()->topic, "a.2999");
  const auto some = newest.Matching({.vm = "vm", .topic = "a"}, 2);
  ASSERT_EQ(some.size(), 2U);
  EXPECT_EQ(some[0]->topic, "a.2998");
  EXPECT_TRUE(newest.Matching({.vm = "", .topic = "a.299"}, 2).empty());
  EXPECT_TRUE(newest.Matching({.vm = "v", .topic = ""}, 2).empty());
  std::size_t bytes = 0;
  for (int i = 0; i < 2000; ++i) {
    newest.Add(std::make_shared<PublicationEvent>(
        EventOf(std::string(128, 'v'), std::string(60'000, 't'), std::string(60'000, 'p'))));
  }
  for (const auto& event : newest.Matching({}, 5000)) bytes += event->Size();
  EXPECT_LE(bytes, kMostNewestBytes);
}

TEST(EventStreamsTest, SlowViewerIsToldWhatItMissed) {
  EventStreams streams;
  bool mayLook = true;
  const auto pipe = streams.Open(
      {}, [&] { return mayLook; }, kStart);
  const auto read = [&] {
    std::string text(8U << 20U, '\0');
    const auto size = pipe->Read(
        text.data(), text.size(), [] {}, [] {});
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
  };
  // It takes nothing for an hour: what is kept for it stays within its bound, and the rest is counted.
  for (int i = 0; i < 3600; ++i) {
    streams.Add(EventOf("vm", "t", std::string(5000, '\x01')), kStart + seconds(i));
    streams.Tick(kStart + seconds(i));
  }
  EXPECT_LE(read().size(), kViewerBytes);
  const auto skipped = streams.Skipped();
  EXPECT_GT(skipped, 3000U);
  streams.Add(EventOf("vm", "t.after"), kStart + seconds(3601));
  const auto after = read();
  EXPECT_NE(after.find("event: skipped\ndata: {\"count\":"), std::string::npos);
  EXPECT_LT(after.find("event: skipped"), after.find("t.after"));
  streams.Tick(kStart + seconds(3630));
  EXPECT_EQ(read(), ":\n\n");
  for (int i = 0; i < 60; ++i) streams.Add(EventOf("vm", "t.burst"), kStart + seconds(4000));
  streams.Tick(kStart + seconds(4001));
  EXPECT_NE(read().find("event: skipped\ndata: {\"count\":10}"), std::string::npos);
  mayLook = false;
  streams.Tick(kStart + seconds(4002));
  EXPECT_TRUE(pipe->HasEnded());
}

TEST(Utf8Test, ShortTextsAreCutAtCharacters) {
  EXPECT_EQ(ShortText("a\xc3\xa4\xc3\xa4", 4), "a\xc3\xa4\xe2\x80\xa6");
  EXPECT_EQ(ShortText("a\xc3\xa4", 3), "a\xc3\xa4");
  EXPECT_EQ(ShortText("\xff\xc3", 9), "\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(CutUtf8("\xf0\x9f\x98\x80", 3), "");
  for (const char* bad : {"\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82", "\x80"}) {
    EXPECT_FALSE(IsUtf8(bad));
  }
  EXPECT_TRUE(IsUtf8("\xf0\x9f\x98\x80 \xe2\x82\xac"));
  EXPECT_TRUE(IsUtf8(std::string_view("\0a", 2)));
}

}  // namespace
}  // namespace Fleet

#include <gtest/gtest.h>

#include <filesystem>
#include <stop_token>
#include <thread>

#include "lib/public/api/guestLimits.h"
#include "testing/daemon.h"
#include "testing/subscriber.h"
#include "tests/daemon/liveSubscriber.h"

namespace {

using namespace Testing;

constexpr std::size_t kLargest = NornHesper::kLargestDatagram;

std::string Repeat(std::string_view part, std::size_t times) {
  std::string text;
  text.reserve(part.size() * times);
  for (std::size_t i = 0; i < times; ++i) text += part;
  return text;
}

// A publication padded with blanks to that size.
std::string TextOfSize(std::size_t size) {
  auto text = PublicationText(1, "a", "");
  return text + std::string(size - text.size(), ' ');
}

std::string ManySubscribers(std::size_t count) {
  return PublicationText(1, "a", "", ",\"subscribers\":[" + Repeat("9,", count - 1) + "9]");
}

struct HostileText {
  const char* name;
  std::string text;
  bool accepted;
};

std::vector<HostileText> HostileTexts() {
  const auto good = PublicationText(1, "a", "");
  const auto withMember = [&](const std::string& member) {
    return good.substr(0, good.size() - 1) + ",\"x\":" + member + "}";
  };
  return {
      {"34804 arrays", Repeat("[", 34804) + Repeat("]", 34804), false},
      {"only opening brackets", Repeat("[", kLargest), false},
      {"nesting in an ignored member", withMember(Repeat("[", 34700) + Repeat("]", 34700)), true},
      {"objects in an ignored member", withMember(Repeat("{\"\":", 11000) + "1" + Repeat("}", 11000)), true},
      {"empty", "", false},
      {"one byte", "{", false},
      {"largest but one", TextOfSize(kLargest - 1), true},
      {"largest", TextOfSize(kLargest), true},
      {"cut in blanks", TextOfSize(kLargest + 1), true},
      {"cut in the text",
       std::string(100, ' ') + TextOfSize(kLargest - 100).substr(0, 10) + std::string(kLargest, ' '), false},
      {"invalid UTF-8 in the topic", PublicationText(1, "a.\xff\xc0\x80", ""), true},
      {"lone surrogate", PublicationText(1, R"(a.\ud800)", ""), false},
      {"NUL behind the text", good + std::string(1, '\0') + "garbage", true},
      {"NUL inside", good.substr(0, 20) + std::string(1, '\0') + good.substr(21), false},
      {"34000 subscribers", ManySubscribers(34000), true},
      {"sequence twice", R"({"header":{"sequence":1,"sequence":"x"}})", false},
      {"line feeds and escapes", "\n\x1b[31m2026-11-24 forged line\r\n", false},
      {"line feed in an accepted topic", PublicationText(1, R"(a.\n\u001b[0m)", ""), true},
  };
}

// The good guest is heard, and its publication delivered. Its rate is as limited as everybody's: an unheard
// one is sent again, so it may be answered and delivered once more while the next one is waited for.
void ExpectServed(Krell::GuestSocket& guest, const Daemon& daemon, Subscriber& subscriber,
                  std::uint64_t sequence) {
  const auto topic = "good." + std::to_string(sequence);
  std::string answer;
  for (int tries = 0; tries < 100 && answer != GoodAcknowledgement(sequence); ++tries) {
    answer = Publish(guest, daemon, PublicationText(sequence, topic, ""), std::chrono::milliseconds(600));
  }
  ASSERT_EQ(answer, GoodAcknowledgement(sequence));
  while (subscriber.Next().find('"' + topic + '"') == std::string::npos) {
  }
}

TEST(HostileGuestTest, DisturbsNobodyElse) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(21);
  auto subscriber = beacon.Subscribe(daemon, R"(,"topic_prefixes":["good"])");
  auto everything = beacon.Subscribe(daemon);
  Vm good(22);
  Krell::GuestSocket goodGuest(good.cid());
  std::uint64_t sequence = 100;

  std::uint32_t cid = 1000;
  for (const auto& hostile : HostileTexts()) {
    SCOPED_TRACE(hostile.name);
    Vm vm(cid++);
    Krell::GuestSocket guest(vm.cid());
    const auto answer = Publish(guest, daemon, hostile.text);
    EXPECT_NE(answer.find(hostile.accepted ? "\"status\":\"ok\"" : "\"status\":\"bad\""), std::string::npos)
        << answer.substr(0, 200);
    EXPECT_TRUE(answer.ends_with("\n\"rateLimit\":2\n}"));
    EXPECT_LE(answer.size(), kLargest);
    ExpectServed(goodGuest, daemon, subscriber, ++sequence);
  }
  EXPECT_TRUE(daemon.IsRunning());

  // Nothing that a guest sends can look like a line of its own in the log.
  const auto log = daemon.Log();
  EXPECT_EQ(log.find('\x1b'), std::string::npos);
  EXPECT_EQ(log.find("\n2026-11-24 forged line"), std::string::npos);
}

TEST(HostileGuestTest, FloodIsKeptOffByTheKernel) {
  Daemon daemon({.settings = kAskAll});
  Beacon beacon(23);
  auto subscriber = beacon.Subscribe(daemon, R"(,"topic_prefixes":["good"])");
  Vm flooder(24);
  Vm good(25);
  std::jthread flood([&](const std::stop_token& stop) {
    Krell::GuestSocket socket(flooder.cid());
    const std::string text(kLargest, '[');
    while (!stop.stop_requested()) socket.Send(daemon.vmPort(), text);
  });
  Krell::GuestSocket guest(good.cid());
  for (std::uint64_t sequence = 1; sequence <= 4; ++sequence) {
    ExpectServed(guest, daemon, subscriber, sequence);
  }
}

TEST(HostileGuestTest, BadTextsDoNotFillTheDisk) {
  const auto logFile = SharedHost().Directory() + "-rotating.log";
  Daemon daemon({.settings = "<log><file>" + logFile +
                             "</file><maxBytes>100000</maxBytes><maxFiles>2</maxFiles></log>"});
  for (std::uint32_t cid = 2000; cid < 2020; ++cid) {
    Vm vm(cid);
    Krell::GuestSocket guest(vm.cid());
    EXPECT_NE(Publish(guest, daemon, std::string(kLargest, 'x')), "");
  }
  std::uintmax_t total = 0;
  for (const auto& entry : std::filesystem::directory_iterator(SharedHost().Directory() + "/..")) {
    if (entry.path().string().find("-rotating") != std::string::npos) total += entry.file_size();
  }
  EXPECT_GT(total, 0U);
  EXPECT_LE(total, 2 * 100000U + kLargest);
}

}  // namespace

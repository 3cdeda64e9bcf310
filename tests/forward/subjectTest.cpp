#include "fleet/nats/subject.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "fleet/forward/outgoing.h"
#include "lib/public/api/topicFilter.h"

namespace {

using namespace Fleet;

// What guests can call their topics, from harmless to hostile.
std::vector<std::string> Topics() {
  std::vector<std::string> topics = {"app",
                                     "app.web",
                                     "app.web.start",
                                     "app.website",
                                     "a b",
                                     "a.b c.d",
                                     "*",
                                     ">",
                                     "app.>",
                                     "app.*.x",
                                     "",
                                     ".",
                                     "..",
                                     "app..web",
                                     ".app",
                                     "app.",
                                     "%",
                                     "%%",
                                     "%41",
                                     "\r\nPUB x 1\r\n",
                                     "\x01\x7f",
                                     "app.\xff",
                                     "h\xc3\xa9",
                                     "$JS.API.x",
                                     std::string(60'000, 'x'),
                                     "app.web." + std::string(60'000, 'y'),
                                     std::string(60'000, '.'),
                                     "app." + std::string(400, '*') + ".x"};
  topics.emplace_back("nul\0here", 8);
  std::string deep = "app";
  for (int i = 0; i < 40; ++i) {
    deep += ".d";
    topics.push_back(deep);
  }
  for (std::size_t size = 900; size < 1030; ++size) {
    topics.push_back("app." + std::string(size / 4, '>') + std::string(size % 4, 'x'));
  }
  return topics;
}

std::vector<std::string> Tokens(const std::string& subject) {
  std::vector<std::string> tokens{""};
  for (const char c : subject) {
    if (c == '.') {
      tokens.emplace_back();
    } else {
      tokens.back() += c;
    }
  }
  return tokens;
}

// As a NATS server matches.
bool Matches(const std::string& filter, const std::string& subject) {
  const auto wanted = Tokens(filter);
  const auto tokens = Tokens(subject);
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (wanted[i] == ">") return tokens.size() > i;
    if (i >= tokens.size() || (wanted[i] != "*" && wanted[i] != tokens[i])) return false;
  }
  return tokens.size() == wanted.size();
}

TEST(SubjectTest, NoTopicLeavesItsVmOrTheBound) {
  std::set<std::string> subjects;
  for (const auto& topic : Topics()) {
    const auto subject = PublicationSubject("hesper", "host-a", "web", topic);
    EXPECT_TRUE(subject.starts_with("hesper.host-a.web.")) << subject;
    EXPECT_LE(subject.size(), kLongestSubject);
    EXPECT_EQ(subject.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-%."),
              std::string::npos)
        << subject;
    for (const auto& token : Tokens(subject)) EXPECT_FALSE(token.empty()) << subject;
    EXPECT_TRUE(subjects.insert(subject).second) << "two topics have " << subject;
  }
}

TEST(SubjectTest, FiltersTakeInWhatIsWanted) {
  const std::vector<std::string> prefixes = {
      "app", "app.web", "app.", "*", "", "app." + std::string(300, '*'), "app.d.d.d.d.d.d.d.d.d.d"};
  for (const auto& topic : Topics()) {
    const auto subject = PublicationSubject("hesper", "host-a", "web", topic);
    for (const auto& prefix : prefixes) {
      const auto filter = FilterSubject("hesper", {}, {}, {prefix});
      EXPECT_LE(filter.size(), kLongestSubject);
      EXPECT_TRUE(!NornHesper::IsUnder(topic, prefix) || Matches(filter, subject))
          << filter << " and " << subject;
    }
    EXPECT_TRUE(Matches(FilterSubject("hesper", {"host-a"}, {}, {}), subject));
    EXPECT_TRUE(Matches(FilterSubject("hesper", {"host-a", "b"}, {"web", "db"}, {"x", "y"}), subject));
    EXPECT_FALSE(Matches(FilterSubject("hesper", {"host-b"}, {}, {}), subject));
    EXPECT_FALSE(Matches(FilterSubject("hesper", {}, {"db"}, {}), subject));
  }
  EXPECT_FALSE(Matches(FilterSubject("hesper", {}, {}, {"app.web"}),
                       PublicationSubject("hesper", "h", "v", "other.web")));
}

TEST(SubjectTest, TheHostIsReadAsItWasWritten) {
  for (const std::string host : {"host-a", "rack1.example.org", "a b>*", "%"}) {
    EXPECT_EQ(HostOf("hesper", PublicationSubject("hesper", host, "web", "app")), host);
  }
  EXPECT_FALSE(HostOf("hesper", "hesperia.host.web.app"));
  EXPECT_FALSE(HostOf("hesper", "hesper"));
  EXPECT_FALSE(HostOf("hesper", "hesper.a%2eb.web.app")) << "not the form that is written";
  const auto longVm = PublicationSubject("hesper", "h", std::string(5000, '/'), "app");
  EXPECT_LE(longVm.size(), kLongestSubject);
  EXPECT_NE(longVm, PublicationSubject("hesper", "h", std::string(5001, '/'), "app"));
}

TEST(SubjectTest, APrefixIsPlainTokens) {
  EXPECT_NO_THROW(CheckPrefix("hesper"));
  EXPECT_NO_THROW(CheckPrefix("site-1.hesper_x"));
  for (const char* prefix : {"", ".", "a.", ".a", "a..b", "*", "a.>", "a b", "%41", "a\n"}) {
    EXPECT_THROW(CheckPrefix(prefix), std::invalid_argument) << prefix;
  }
  EXPECT_THROW(CheckPrefix(std::string(65, 'a')), std::invalid_argument);
}

TEST(OutgoingTest, NothingOfAGuestEndsAHeader) {
  Element element;
  element.json = "{}";
  element.vm = "web\r\nX-Evil: 1";
  element.topic = "app\r\n\r\n";
  element.createTime = "2026-11-24T21:15:00Z\r\nNats-Rollup: all" + std::string(5000, ' ');
  element.token = "\r\n";
  const auto live = MakeOutgoing({.prefix = "hesper", .host = "host a", .vmIdType = "mgr"}, element, {});
  for (const auto& [name, value] : live.headers) {
    EXPECT_LE(value.size(), 512U) << name;
    EXPECT_TRUE(std::ranges::all_of(value, [](char c) { return c > ' ' && c < '\x7f'; }))
        << name << ": " << value;
  }
  element.history = true;
  const auto again = MakeOutgoing({.prefix = "hesper", .host = "host a", .vmIdType = "mgr"}, element, {});
  EXPECT_EQ(live.headers.at(0), again.headers.at(0)) << "history isn't a duplicate of the live one";
  const auto other = MakeOutgoing({.prefix = "hesper", .host = "host b", .vmIdType = "mgr"}, element, {});
  EXPECT_NE(live.headers.at(0), other.headers.at(0));
}

}  // namespace

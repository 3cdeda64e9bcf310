#include "lib/public/api/topicFilter.h"

#include <gtest/gtest.h>

#include "apps/nornhesperd/historyRequestor.h"

namespace {

using NornHesper::HistoryRequestText;
using NornHesper::TopicMatches;

TEST(TopicFilterTest, TakesWholeComponentsOnly) {
  EXPECT_TRUE(TopicMatches("a.b", {"a.b"}));
  EXPECT_TRUE(TopicMatches("a.b.c", {"a.b"}));
  EXPECT_TRUE(TopicMatches("a.b", {"a"}));
  EXPECT_FALSE(TopicMatches("a.bc", {"a.b"}));
  EXPECT_FALSE(TopicMatches("a.b", {"a.bc"}));
  EXPECT_FALSE(TopicMatches("a", {"a.b"}));
  EXPECT_FALSE(TopicMatches("A.b", {"a.b"}));
  EXPECT_FALSE(TopicMatches("", {"a"}));
  EXPECT_TRUE(TopicMatches("a..b", {"a"}));
  EXPECT_TRUE(TopicMatches("a\xff.b", {"a\xff"}));
}

TEST(TopicFilterTest, WalksBackOverTextualBeginningsOnly) {
  EXPECT_TRUE(TopicMatches("a.b", {"a", "ab"}));
  EXPECT_FALSE(TopicMatches("abc", {"a", "ab"}));
  EXPECT_TRUE(TopicMatches("ab.c", {"a", "ab"}));
  EXPECT_TRUE(TopicMatches("a.b.c", {"a", "a.b", "a.b.c"}));
  EXPECT_TRUE(TopicMatches("a.bc", {"a", "a.b"}));  // "a.b" begins it but is no component: on to "a"
  EXPECT_TRUE(TopicMatches("a.b", {"a.b", "a.b"}));
  EXPECT_FALSE(TopicMatches("a.d", {"a", "a.c"}));  // the walk ends at "a.c"
  EXPECT_FALSE(TopicMatches("a", {}));
}

TEST(HistoryRequestTest, TextAsGuestsReadIt) {
  EXPECT_EQ(HistoryRequestText(5, 3600, std::nullopt), R"({ "pastSeconds": 3600, "id": 5 })");
  EXPECT_EQ(HistoryRequestText(5, 3600, std::vector<std::string>{}), R"({ "pastSeconds": 3600, "id": 5 })");
  EXPECT_EQ(HistoryRequestText(5, 3600, std::vector<std::string>{"a.b", "c"}),
            R"({ "pastSeconds": 3600, "id": 5, "topicPrefixes": [ "a.b", "c" ] })");
  EXPECT_EQ(
      HistoryRequestText(18446744073709551615U, 9223372036854775807U, std::vector<std::string>{"\"", "\""}),
      R"({ "pastSeconds": 9223372036854775807, "id": 18446744073709551615, "topicPrefixes": [ """, """ ] })");
}

}  // namespace

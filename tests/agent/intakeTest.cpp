#include <gtest/gtest.h>

#include "guest/agent/intake/allowance.h"
#include "guest/agent/intake/permissions.h"
#include "guest/agent/intake/request.h"
#include "guest/agent/intake/topic.h"
#include "testing/temporaryFolder.h"

namespace {

using namespace GuestAgent;
using std::chrono::milliseconds;

std::string FaultOf(const std::string& text) {
  const auto outcome = ReadRequest(text);
  const auto* refusal = std::get_if<Refusal>(&outcome);
  return refusal == nullptr ? "" : kFaultNames[static_cast<std::size_t>(refusal->fault)];
}

TEST(RequestTest, IsReadMemberByMember) {
  const auto outcome = ReadRequest(
      R"( {"topic":"app.a-b_C.9","base64":"AP8=","class":"latest","token":"\u00fc","category":"c","createTime":"2026-11-26T07:00:00.5+01:00"} )");
  const auto* item = std::get_if<Item>(&outcome);
  ASSERT_NE(item, nullptr) << std::get<Refusal>(outcome).diagnosis;
  EXPECT_EQ(item->publication.topic, "app.a-b_C.9");
  EXPECT_EQ(item->publication.payload, std::string("\0\xff", 2));
  EXPECT_EQ(item->publication.token, "\xc3\xbc");
  EXPECT_EQ(item->publication.category, "c");
  EXPECT_EQ(item->publication.createTime, "2026-11-26T07:00:00.5+01:00");
  EXPECT_TRUE(item->isLatest);
  const auto plain = std::get<Item>(ReadRequest(R"({"payload":"one\u0000two","topic":"a"})"));
  EXPECT_EQ(plain.publication.payload, std::string("one\0two", 7));
  EXPECT_EQ(plain.publication.category, "data");
  EXPECT_FALSE(plain.isLatest);
  EXPECT_EQ(FaultOf(R"({"topic":"a","base64":""})"), "");
  EXPECT_EQ(FaultOf(R"({"topic":"a","base64":"QQ=="})"), "");
}

TEST(RequestTest, WhatIsWrongIsRefused) {
  for (const std::string text : {"",
                                 "x",
                                 "[]",
                                 "\"a\"",
                                 "7",
                                 "{",
                                 R"({"topic":"a"})",
                                 R"({"payload":"x"})",
                                 R"({"topic":"a","payload":"x"}{})",
                                 R"({"topic":"a","payload":"x","base64":"QQ=="})",
                                 R"({"topic":"a","topic":"b","payload":"x"})",
                                 R"({"topic":"a","paylaod":"x"})",
                                 R"({"topic":7,"payload":"x"})",
                                 R"({"topic":["a"],"payload":"x"})",
                                 R"({"topic":"a","payload":{"x":"y"}})",
                                 R"({"topic":"a","payload":null})",
                                 R"({"topic":"a","payload":"x","class":"newest"})",
                                 R"({"topic":"a","payload":"x","createTime":"yesterday"})",
                                 R"({"topic":"a","payload":"x","token":"\n"})",
                                 R"({"topic":"a","base64":"QQ"})",
                                 R"({"topic":"a","base64":"Q==="})",
                                 R"({"topic":"a","base64":"QQ=="Q"})",
                                 R"({"topic":"a","base64":" QQ="})",
                                 R"({"topic":"a","base64":"QQ=A"})",
                                 R"({"topic":"a","base64":"Q-_="})",
                                 "{\"topic\":\"a\",\"payload\":\"\xff\"}",
                                 R"({"topic":"a","payload":"\ud800"})"}) {
    EXPECT_EQ(FaultOf(text), "request") << text;
  }
  EXPECT_EQ(FaultOf(std::string(R"({"topic":"a","payload":"x"})") + '\0' + "{}"), "request");
  // Nesting without end takes neither the stack nor memory.
  EXPECT_EQ(FaultOf(std::string(131072, '[')), "request");
  EXPECT_EQ(FaultOf(R"({"topic":)" + std::string(131000, '{')), "request");
}

TEST(RequestTest, TopicsAreWordsWithDotsBetweenThem) {
  for (const char* text : {"a", "app.backup", "A-1_b.2"}) EXPECT_TRUE(IsTopic(text)) << text;
  for (const std::string text : {"", ".", ".a", "a.", "a..b", "a b", "a\n", "a/b", "\xc3\xbc", "a\"b"}) {
    EXPECT_FALSE(IsTopic(text)) << text;
  }
  EXPECT_TRUE(IsTopic(std::string(255, 'a')));
  EXPECT_FALSE(IsTopic(std::string(256, 'a')));
  EXPECT_FALSE(IsTopic(std::string("a\0b", 3)));
  EXPECT_EQ(FaultOf(R"({"topic":"a\u0000b","payload":""})"), "topic");
  EXPECT_EQ(FaultOf(R"({"topic":"a\nb","payload":""})"), "topic");
}

class PermissionsTest : public ::testing::Test {
 protected:
  Permissions Make(std::vector<Rule> rules) {
    return Permissions(std::move(rules), [this](const std::string& line) { told_.push_back(line); },
                       {folder_ / "passwd", folder_ / "group"});
  }

  Testing::TemporaryFolder folder_;
  const std::string passwd_ = folder_.Write("passwd",
                                            "root:x:0:0::/root:/bin/sh\nann:x:1000:1000::/:/bin/sh\n"
                                            "bob:x:1001:500::/:/bin/sh\ncarl:x:1002:1002::/:/bin/sh\n");
  const std::string group_ = folder_.Write("group", "root:x:0:\nhesper:x:500:ann,nobody-of-that-name\n");
  std::vector<std::string> told_;
};

TEST_F(PermissionsTest, ByDefaultRootMayAllAndTheGroupWhatIsUnderApp) {
  auto permissions = Make(StandardRules());
  EXPECT_TRUE(permissions.Allow(0, 0, "metrics.node"));
  EXPECT_TRUE(permissions.Allow(1000, 1000, "app.backup")) << "in the group's list";
  EXPECT_TRUE(permissions.Allow(1001, 1001, "app.backup")) << "by the primary group";
  EXPECT_TRUE(permissions.Allow(1002, 500, "app.backup")) << "by the group that the process has now";
  EXPECT_FALSE(permissions.Allow(1002, 1002, "app.backup"));
  EXPECT_FALSE(permissions.Allow(1000, 1000, "application"));
  EXPECT_FALSE(permissions.Allow(1000, 1000, "metrics.node"));
  EXPECT_FALSE(permissions.Allow(1000, 0, "metrics.node")) << "root's group isn't root";
  EXPECT_TRUE(told_.empty());
}

TEST_F(PermissionsTest, NamesAndNumbersStandForTheSame) {
  auto permissions =
      Make({{"1002", "", {"db"}}, {"", "500", {"web"}}, {"", "77", {"x"}}, {"nobody", "", {"*"}}});
  EXPECT_TRUE(permissions.Allow(1002, 1, "db.up"));
  EXPECT_TRUE(permissions.Allow(1000, 1, "web"));
  EXPECT_TRUE(permissions.Allow(5, 77, "x")) << "a group that is in no file";
  EXPECT_FALSE(permissions.Allow(65534, 65534, "x"));
  EXPECT_EQ(told_, std::vector<std::string>{"no user nobody is in " + passwd_});
}

TEST_F(PermissionsTest, WhoJoinsTheGroupMaySoon) {
  auto permissions = Make(StandardRules());
  EXPECT_FALSE(permissions.Allow(1002, 1002, "app.x"));
  folder_.Write("group", "root:x:0:\nhesper:x:500:ann,carl\n");
  permissions.Refresh();
  EXPECT_TRUE(permissions.Allow(1002, 1002, "app.x"));
  std::filesystem::remove(group_);
  permissions.Refresh();
  EXPECT_FALSE(permissions.Allow(1002, 1002, "app.x"));
  EXPECT_TRUE(permissions.Allow(0, 0, "app.x"));
}

TEST(AllowanceTest, IsABurstAndThenARate) {
  Allowance allowance({10, 20, 1000, 5000});
  milliseconds now{1000};
  int taken = 0;
  while (allowance.Take(1, 1, now)) ++taken;
  EXPECT_EQ(taken, 20);
  EXPECT_TRUE(allowance.Take(2, 1, now)) << "each user has an own one";
  now += milliseconds(1000);
  for (taken = 0; allowance.Take(1, 1, now);) ++taken;
  EXPECT_EQ(taken, 10);
  now += std::chrono::hours(1);
  EXPECT_TRUE(allowance.Take(1, 5000, now));
  EXPECT_FALSE(allowance.Take(1, 1, now));
  now += milliseconds(100);
  EXPECT_TRUE(allowance.Take(1, 100, now));
}

TEST(AllowanceTest, RemembersABoundedNumberOfUsers) {
  Allowance allowance({1, 2, 1000, 5000});
  milliseconds now{1000};
  for (Owner owner = 0; owner < 5000; ++owner) allowance.Take(owner, 1, now);
  EXPECT_EQ(allowance.Owners(), 1024U);
  EXPECT_FALSE(allowance.Take(9999, 1, now));
  // Whoever has all of his again needn't be remembered.
  now += std::chrono::seconds(10);
  EXPECT_TRUE(allowance.Take(9999, 1, now));
  EXPECT_EQ(allowance.Owners(), 1U);
}

}  // namespace

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/keeping/keeper.h"

namespace {

using namespace Testing;
using GuestAgent::Item;
using GuestAgent::Store;
using Numbers = std::vector<std::uint64_t>;
using Topics = std::vector<std::string>;

mode_t Mode(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

TEST(StoreTest, WhatItHasKeptIsThereAgain) {
  Keeper keeper;
  const std::string bytes("a\0\xff\n", 4);
  const Item item{{"2026-11-25T19:00:00Z", "app.a", "token" + bytes, "", bytes}, true, 0x80000000};
  const std::array<Item, 2> items{item, MakeItem("app.b", 70000)};
  const auto first = keeper->Keep(items).value();
  keeper.Open();
  const auto read = keeper->Read(first).value();
  EXPECT_EQ(read.publication.createTime, item.publication.createTime);
  EXPECT_EQ(read.publication.topic, item.publication.topic);
  EXPECT_EQ(read.publication.token, item.publication.token);
  EXPECT_EQ(read.publication.category, "");
  EXPECT_EQ(read.publication.payload, bytes);
  EXPECT_EQ(keeper->Read(first + 1)->publication.payload, std::string(70000, 'x'));
  EXPECT_FALSE(keeper->Read(first + 2));
  std::vector<Store::Waiting> waiting;
  keeper->ForEachWaiting([&](Store::Waiting one) { waiting.push_back(std::move(one)); });
  ASSERT_EQ(waiting.size(), 2u);
  EXPECT_EQ(waiting[0].topic, "app.a");
  EXPECT_TRUE(waiting[0].isLatest);
  EXPECT_EQ(waiting[0].owner, 0x80000000);
  EXPECT_EQ(waiting[0].bytes, 5 + item.publication.token.size() + 4);
  EXPECT_FALSE(waiting[1].isLatest);
  EXPECT_EQ(waiting[1].bytes, 5u + 4 + 70000);
  EXPECT_EQ(Mode(keeper.path), 0600u);
  EXPECT_EQ(Mode(keeper.path + "-wal"), 0600u);
  EXPECT_EQ(Mode(keeper.folder / "guest"), 0700u);
  EXPECT_EQ(keeper.told, Topics{});
}

TEST(StoreTest, NoNumberComesTwice) {
  Keeper keeper;
  std::uint64_t last = 0;
  for (int run = 0; run < 3; ++run) {
    for (int i = 0; i < 3; ++i) {
      const auto number = keeper.Keep("a").value();
      EXPECT_GT(number, last);
      last = number;
      keeper->Remove(number);
    }
    keeper.Open();
    EXPECT_EQ(keeper->Items(), 0u);
  }
}

TEST(StoreTest, AllOrNone) {
  Keeper keeper;
  const std::vector<Item> tooLong{MakeItem("a"), MakeItem("b", 1 << 20), MakeItem("c")};
  EXPECT_FALSE(keeper->Keep(tooLong));
  EXPECT_EQ(keeper->Items(), 0u);
  EXPECT_TRUE(keeper->IsOnDisk());
  const std::vector<Item> good(200, MakeItem("a"));
  const auto first = keeper->Keep(good).value();
  EXPECT_EQ(keeper.Keep("b"), first + 200);
}

TEST(StoreTest, WhatWaitsComesInOrder) {
  Keeper keeper;
  Numbers expected;
  for (int i = 0; i < 300; ++i) {
    const auto number = keeper.Keep("a", i % 7 == 0 ? 9000 : 10).value();
    if (i % 3 == 0) keeper->MarkSent(number);
    if (i % 3 == 1) expected.push_back(number);
    if (i % 3 == 2) keeper->Remove(number);
    if (i % 50 == 0) keeper.clock.Pass(milliseconds(1));
  }
  keeper.Open();
  EXPECT_EQ(keeper.Waiting(), expected);
  // As an agent does that finds newer ones of the same topics.
  Numbers seen;
  keeper->ForEachWaiting([&](const Store::Waiting& one) {
    seen.push_back(one.sequence);
    keeper->Remove(one.sequence);
  });
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(keeper.Waiting(), Numbers{});
  EXPECT_EQ(keeper->Items(), 100u);
}

TEST(StoreTest, ThePastIsReadInPieces) {
  Keeper keeper;
  const auto a = keeper.KeepSent("a");
  keeper.Keep("waits");
  const auto b = keeper.KeepSent("b");
  keeper.clock.Pass(milliseconds(1000));
  const auto c = keeper.KeepSent("c");
  keeper.KeepSent("d");
  EXPECT_EQ(keeper.Past(), (Topics{"a", "b", "c", "d"}));
  EXPECT_EQ(keeper.Past(0, {}, 2), (Topics{"a", "b"}));
  EXPECT_EQ(keeper.Past(a), (Topics{"b", "c", "d"}));
  EXPECT_EQ(keeper.Past(b, {}, 1), (Topics{"c"}));
  EXPECT_EQ(keeper.Past(0, keeper->Now()), (Topics{"c", "d"}));
  EXPECT_EQ(keeper.Past(c, keeper->Now()), (Topics{"d"}));
  EXPECT_EQ(keeper.Past(0, keeper->Now() + milliseconds(1)), Topics{});
  keeper->Remove(b);
  EXPECT_EQ(keeper.Past(b), (Topics{"c", "d"}));
}

TEST(StoreTest, TheFileIsNoLinkButItsFolderMayBe) {
  Keeper keeper;
  keeper.Keep("a");
  keeper.Close();
  const auto real = keeper.path;
  keeper.path = keeper.folder / "link.db";
  std::filesystem::create_symlink(real, keeper.path);
  keeper.Open();
  EXPECT_FALSE(keeper->IsOnDisk());
  EXPECT_EQ(keeper.Waiting(), Numbers{});
  std::filesystem::create_symlink(keeper.folder / "guest", keeper.folder / "link");
  keeper.path = keeper.folder / "link/store.db";
  keeper.Open();
  EXPECT_TRUE(keeper->IsOnDisk());
  EXPECT_EQ(keeper.Waiting().size(), 1u);
}

TEST(StoreTest, WithoutAPathItIsInMemoryAndSaysNothing) {
  Keeper keeper;
  keeper.path = "";
  keeper.Open();
  const auto number = keeper.Keep("a").value();
  EXPECT_EQ(keeper.Waiting(), Numbers{number});
  keeper->Tidy();
  EXPECT_FALSE(keeper->IsOnDisk());
  EXPECT_EQ(keeper.told, Topics{});
}

}  // namespace

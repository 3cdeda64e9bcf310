#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include "fleet/forward/sendQueue.h"
#include "fleet/forward/stateFile.h"
#include "testing/temporaryFolder.h"

namespace {

using namespace Fleet;
using namespace std::chrono_literals;

Outgoing Item(std::size_t size, Moment received = {}) {
  Outgoing item;
  item.body = std::string(size, 'x');
  item.received = received;
  return item;
}

TEST(SendQueueTest, KeepsToItsBounds) {
  SendQueue queue({.items = 3, .bytes = 10'000});
  EXPECT_TRUE(queue.Put(Item(50'000), {}, 0ms)) << "one is always taken";
  EXPECT_FALSE(queue.Put(Item(1), {}, 1ms)) << "too many bytes";
  const auto large = queue.Take({.items = 10, .bytes = 10}, 0ms);
  ASSERT_EQ(large.size(), 1U);
  EXPECT_FALSE(queue.Put(Item(1), {}, 1ms)) << "what was taken still counts";
  queue.Settle({.items = 1, .bytes = large[0].Bytes()}, std::nullopt);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(queue.Put(Item(1), {}, 0ms));
  EXPECT_FALSE(queue.Put(Item(1), {}, 1ms)) << "too many items";
  EXPECT_EQ(queue.Take({.items = 2, .bytes = 1 << 20}, 0ms).size(), 2U);
  EXPECT_EQ(queue.fill().items, 3U);
}

TEST(SendQueueTest, KnowsTheOldestThatIsNotStored) {
  SendQueue queue({});
  EXPECT_FALSE(queue.Oldest());
  for (int i = 1; i <= 3; ++i) queue.Put(Item(1, Moment(i * 1s)), {}, 0ms);
  const auto batch = queue.Take({.items = 2, .bytes = 1 << 20}, 0ms);
  EXPECT_EQ(queue.Oldest(), Moment(1s));
  queue.Settle({.items = 1, .bytes = batch[0].Bytes()}, batch[1].received);
  EXPECT_EQ(queue.Oldest(), Moment(2s));
  queue.Settle({.items = 1, .bytes = batch[1].Bytes()}, std::nullopt);
  EXPECT_EQ(queue.Oldest(), Moment(3s));
}

TEST(SendQueueTest, WaitsForAsLongAsSomethingIsStored) {
  SendQueue queue({.items = 1, .bytes = 1 << 20});
  queue.Put(Item(1), {}, 0ms);
  std::jthread taking([&queue](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      const auto batch = queue.Take({.items = 1, .bytes = 1 << 20}, 10ms);
      if (!batch.empty()) queue.Settle({.items = 1, .bytes = batch[0].Bytes()}, std::nullopt);
    }
  });
  for (int i = 0; i < 1000; ++i) ASSERT_TRUE(queue.Put(Item(1), {}, 20s));
  EXPECT_TRUE(queue.WaitUntilEmpty({}));
}

TEST(StateFileTest, GivesWhatWasWrittenToItsOwnerAlone) {
  const Testing::TemporaryFolder folder;
  const auto path = folder / "state";
  EXPECT_EQ(StateFile(path).Read().found, StateFile::Found::Nothing);
  const WallTime time{std::chrono::milliseconds(1'790'000'000'123)};
  umask(0);
  StateFile(path).Write(time);
  const auto content = StateFile(path).Read();
  EXPECT_EQ(content.found, StateFile::Found::Time);
  EXPECT_EQ(content.storedUntil, time);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  StateFile(path).Write(time + 1h);
  EXPECT_EQ(StateFile(path).Read().storedUntil, time + 1h);
}

TEST(StateFileTest, GarbageIsNoTime) {
  const Testing::TemporaryFolder folder;
  const std::string line = "stored until 2026-11-26T09:00:00.000Z\n";
  EXPECT_EQ(StateFile(folder.Write("good", line)).Read().found, StateFile::Found::Time);
  for (const auto& text :
       {std::string(), std::string("x"), line.substr(0, line.size() - 1), line + line,
        line + std::string(5000, 'x'), std::string("stored until yesterday\n"), std::string("\0\0\0\0", 4),
        std::string("stored until 2026-13-26T09:00:00.000Z\n")}) {
    EXPECT_EQ(StateFile(folder.Write("state", text)).Read().found, StateFile::Found::Garbage) << text;
  }
  symlink((folder / "good").c_str(), (folder / "link").c_str());
  EXPECT_THROW(StateFile(folder / "link").Read(), std::system_error);
  EXPECT_THROW(StateFile(folder / "no/folder").Write({}), std::system_error);
}

}  // namespace

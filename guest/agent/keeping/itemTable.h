#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "guest/agent/keeping/database.h"
#include "guest/agent/keeping/item.h"
#include "guest/agent/keeping/store.h"
#include "guest/agent/keeping/storeTime.h"

namespace GuestAgent {

// The items of one database, on disk or in memory. What fails throws DatabaseError. What changes it needs a
// transaction around it, but where it says otherwise.
class ItemTable final {
 public:
  // Above `bytes` there is no room for new items. The whole never goes above `mostBytes`.
  struct Limits {
    std::uint64_t bytes = 0;
    std::uint64_t mostBytes = 0;
  };
  // Makes the tables if there are none at all.
  ItemTable(std::unique_ptr<Database> database, const Limits& limits);

  Database& database() { return *database_; }

  struct State {
    std::uint64_t next = 1;
    std::optional<StoreTime::Mark> time;
  };
  State ReadState();
  void WriteState(std::uint64_t next, const StoreTime::Mark& time);

  struct Row {
    std::uint64_t sequence = 0;
    std::chrono::milliseconds kept{};
    bool isSent = false;
  };
  void Insert(const Row& row, const Item& item);
  std::optional<Item> Read(std::uint64_t sequence);
  void ForEach(const std::function<void(const Row&, const Item&)>& take);

  bool IsWaiting(std::uint64_t sequence);
  // The next ones after that one, some at a time.
  std::vector<Store::Waiting> ReadWaiting(std::chrono::milliseconds kept, std::uint64_t after);
  std::vector<Store::Past> ReadPast(std::uint64_t after, std::chrono::milliseconds since, std::size_t most);

  // Both give the number of items that they changed.
  std::uint64_t MarkSent(std::uint64_t first, std::uint64_t last);
  std::uint64_t Remove(std::uint64_t first, std::uint64_t last);
  // What has been kept becomes as much later, and at least so late.
  void MakeLater(std::chrono::milliseconds by, std::chrono::milliseconds atLeast);

  // Deletes what was sent, the oldest first, until these items have room. Gives whether they have, which
  // those that are too long never do.
  bool MakeRoom(std::span<const Item> items);
  // Deletes some of what was sent and kept before, the oldest first; gives whether there was any.
  bool DeleteSent(std::chrono::milliseconds before);
  // Whether a transaction may have failed because of `mostBytes`.
  bool IsAtLimit();

  std::uint64_t Bytes();
  std::uint64_t Items();

 private:
  std::uint64_t PagesInUse();

  std::unique_ptr<Database> database_;
  const std::uint64_t pages_;
  Statement insert_, read_, readAll_, isWaiting_, waiting_, past_, markSent_, remove_, deleteSent_;
  Statement writeState_, pageCount_, freePageCount_, count_;
  std::uint64_t mostPages_ = 0;
};

}  // namespace GuestAgent

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "guest/agent/keeping/clock.h"
#include "guest/agent/keeping/item.h"
#include "guest/agent/keeping/numberSet.h"
#include "guest/agent/keeping/storeTime.h"

namespace GuestAgent {

class DatabaseError;
class ItemTable;

// What has been handed over: waiting to be sent, or sent and kept for those who ask for the past. On disk
// (SQLite, write-ahead log), where a crash of agent, guest or host loses nothing that Keep has kept. When the
// disk is full, read-only or broken, it goes on in memory, tells it once, and moves to the disk when that is
// possible again. One thread.
class Store {
 public:
  struct Bounds {
    std::chrono::seconds age{3600};         // of what was sent
    std::uint64_t bytes = 64 << 20;         // of the database's pages in use
    std::uint64_t bytesInMemory = 2 << 20;  // the same when there is no disk
  };
  // Takes one line for the agent's log.
  using Tell = std::function<void(const std::string&)>;

  // The file is made if it is missing, with its folder's owner alone having access; an empty path means
  // memory alone. Never throws for what is wrong with the disk.
  Store(std::string path, Bounds bounds, const Clock& clock, Tell tell);
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  // Keeps all of them or none, durably, under consecutive sequence numbers, none of which was ever given
  // before. Gives the first one, or nothing if there is no room: sent items make room, the oldest first,
  // waiting ones never do.
  std::optional<std::uint64_t> Keep(std::span<const Item> items);

  // The number that the next one gets.
  std::uint64_t NextSequence() const { return next_; }

  // What waits to be sent, without its payload.
  struct Waiting {
    std::uint64_t sequence = 0;
    std::string topic;
    bool isLatest = false;
    Owner owner = kAgentItself;
    std::size_t bytes = 0;             // of topic, token, category and payload
    std::chrono::milliseconds kept{};  // in the store's own time, see Now
  };
  // In the order of sequence numbers; for the agent's start. `take` may change the store.
  void ForEachWaiting(const std::function<void(Waiting)>& take) const;

  std::optional<Item> Read(std::uint64_t sequence) const;
  // It belongs to the past now. A crash may forget this; it is then sent again under its own number.
  void MarkSent(std::uint64_t sequence);
  // Refused by the host, or replaced by a newer one.
  void Remove(std::uint64_t sequence);

  // The past: items that were sent, in the order of their sequence numbers. What waited on a disk and was
  // sent when that couldn't be written belongs to it as soon as the disk is back.
  struct Past {
    std::uint64_t sequence = 0;
    std::string topic;
  };
  // Those with a number above `after`, at most `most` of them, kept at `since` (the store's time) or later.
  std::vector<Past> ReadPast(std::uint64_t after, std::chrono::milliseconds since, std::size_t most) const;

  // The store's own time: it never goes back, and goes on through restarts. While the agent doesn't run it
  // follows the wall clock, if that goes forward.
  std::chrono::milliseconds Now() const;
  // Drops what is too old, and tries the disk again if there was none. For about once a minute.
  void Tidy();

  bool IsOnDisk() const { return memory_ == nullptr; }
  std::uint64_t Bytes() const;
  std::uint64_t Items() const;

 private:
  template <typename Work>
  auto Write(Work work) -> decltype(work(std::declval<ItemTable&>()));
  template <typename Work>
  auto FromDisk(Work work) const -> decltype(work(std::declval<ItemTable&>()));
  std::optional<std::uint64_t> KeepIn(ItemTable& table, std::span<const Item> items);
  using Change = std::uint64_t (ItemTable::*)(std::uint64_t first, std::uint64_t last);
  void ChangeOne(std::uint64_t sequence, Change change, NumberSet& onDisk);
  std::vector<Waiting> SomeWaiting(std::chrono::milliseconds kept, std::uint64_t after) const;

  std::unique_ptr<ItemTable> MakeMemory() const;
  void Adopt(ItemTable& table);
  void ReturnToDisk();
  void MoveToDisk();
  void DropOld(ItemTable& table);
  bool MayTryAgain(ItemTable& table, const DatabaseError& error);
  void Fail(const DatabaseError& error);
  void BeginAnew(const DatabaseError& error);
  void OpenForReadingAlone();
  void LookAtDisk();
  void Say(const std::string& what) const;

  const std::string path_;
  const Bounds bounds_;
  const Clock& clock_;
  const Tell tell_;
  StoreTime time_;
  std::uint64_t next_ = 1;
  // What is new goes there if it can't go to the disk, and there is none if it can.
  std::unique_ptr<ItemTable> memory_;
  // Beside a table in memory it can at best be read.
  std::unique_ptr<ItemTable> disk_;
  // What happened to those that wait on a disk that can't be written.
  NumberSet sentOnDisk_;
  NumberSet removedOnDisk_;
  bool hasToldFailure_ = false;
  // For the next operation that may leave the disk.
  mutable std::unique_ptr<DatabaseError> readError_;
};

}  // namespace GuestAgent

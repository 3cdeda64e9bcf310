#include "guest/agent/keeping/store.h"

#include <algorithm>
#include <utility>

#include "guest/agent/keeping/database.h"
#include "guest/agent/keeping/itemTable.h"
#include "guest/agent/keeping/storeFile.h"

namespace GuestAgent {
namespace {

using std::chrono::milliseconds;

// The disk, a new file on it, and memory; and what makes room where the file may not grow.
constexpr int kMostTries = 4;
constexpr std::uint64_t kMostSpareBytes = 256 << 10;

// The indexes grow, too, when what waited is sent; so do those that come from memory. The file has room for
// it.
ItemTable::Limits LimitsOf(std::uint64_t bytes, std::uint64_t more) {
  return {bytes, bytes + bytes / 4 + more + kMostSpareBytes};
}

// Whether the file contradicts itself. Nothing that is asked of a file of ours is wrong in itself.
bool IsBroken(int code) {
  return code == SQLITE_CORRUPT || code == SQLITE_NOTADB || code == SQLITE_ERROR ||
         code == SQLITE_CONSTRAINT || code == SQLITE_MISMATCH;
}

}  // namespace

Store::Store(std::string path, Bounds bounds, const Clock& clock, Tell tell)
    : path_(std::move(path)), bounds_(bounds), clock_(clock), tell_(std::move(tell)), time_(clock) {
  memory_ = MakeMemory();
  LookAtDisk();
}

Store::~Store() = default;

// What is written, to the disk as long as it can be done.
template <typename Work>
auto Store::Write(Work work) -> decltype(work(std::declval<ItemTable&>())) {
  if (readError_) Fail(*std::exchange(readError_, nullptr));
  for (int i = 0; i < kMostTries; ++i) {
    auto& table = memory_ ? *memory_ : *disk_;
    try {
      return work(table);
    } catch (const DatabaseError& error) {
      if (!MayTryAgain(table, error)) break;
    }
  }
  return {};
}

template <typename Work>
auto Store::FromDisk(Work work) const -> decltype(work(std::declval<ItemTable&>())) {
  if (!disk_) return {};
  try {
    return work(*disk_);
  } catch (const DatabaseError& error) {
    readError_ = std::make_unique<DatabaseError>(error);
    return {};
  }
}

std::optional<std::uint64_t> Store::Keep(std::span<const Item> items) {
  return Write([&](ItemTable& table) { return KeepIn(table, items); });
}

std::optional<std::uint64_t> Store::KeepIn(ItemTable& table, std::span<const Item> items) {
  Transaction transaction(table.database(), Transaction::Kind::Durable);
  if (!table.MakeRoom(items)) {
    // The next one needn't try to delete the same again.
    transaction.Commit();
    return std::nullopt;
  }
  const auto time = time_.Present();
  auto next = next_;
  for (const auto& item : items) table.Insert({next++, time.store}, item);
  table.WriteState(next, time);
  transaction.Commit();
  return std::exchange(next_, next);
}

void Store::MarkSent(std::uint64_t sequence) {
  ChangeOne(sequence, &ItemTable::MarkSent, sentOnDisk_);
}

void Store::Remove(std::uint64_t sequence) {
  ChangeOne(sequence, &ItemTable::Remove, removedOnDisk_);
}

void Store::ChangeOne(std::uint64_t sequence, Change change, NumberSet& onDisk) {
  Write([&](ItemTable& table) {
    Transaction transaction(table.database(), Transaction::Kind::Lazy);
    const bool hasChanged = (table.*change)(sequence, sequence) != 0;
    transaction.Commit();
    if (hasChanged || IsOnDisk()) return true;
    // Nothing else is remembered, so that there is a bound.
    if (FromDisk([&](ItemTable& disk) { return disk.IsWaiting(sequence); })) onDisk.Add(sequence);
    return true;
  });
}

void Store::ForEachWaiting(const std::function<void(Waiting)>& take) const {
  milliseconds kept{};
  std::uint64_t after = 0;
  for (auto some = SomeWaiting(kept, after); !some.empty(); some = SomeWaiting(kept, after)) {
    kept = some.back().kept;
    after = some.back().sequence;
    for (auto& one : some) {
      if (!sentOnDisk_.Contains(one.sequence) && !removedOnDisk_.Contains(one.sequence)) take(std::move(one));
    }
  }
}

std::vector<Store::Waiting> Store::SomeWaiting(milliseconds kept, std::uint64_t after) const {
  auto some = FromDisk([&](ItemTable& disk) { return disk.ReadWaiting(kept, after); });
  if (some.empty() && memory_) return memory_->ReadWaiting(kept, after);
  return some;
}

std::optional<Item> Store::Read(std::uint64_t sequence) const {
  auto item = memory_ ? memory_->Read(sequence) : std::nullopt;
  if (item || removedOnDisk_.Contains(sequence)) return item;
  return FromDisk([&](ItemTable& disk) { return disk.Read(sequence); });
}

std::vector<Store::Past> Store::ReadPast(std::uint64_t after, milliseconds since, std::size_t most) const {
  auto past = FromDisk([&](ItemTable& disk) { return disk.ReadPast(after, since, most); });
  if (!memory_ || past.size() >= most) return past;
  for (auto& one : memory_->ReadPast(after, since, most - past.size())) past.push_back(std::move(one));
  return past;
}

milliseconds Store::Now() const {
  return time_.Now();
}

void Store::Tidy() {
  LookAtDisk();
  Write([&](ItemTable& table) {
    DropOld(table);
    return true;
  });
}

// A transaction for each few, so that the log stays short.
void Store::DropOld(ItemTable& table) {
  for (bool isMore = true; isMore;) {
    Transaction transaction(table.database(), Transaction::Kind::Lazy);
    isMore = table.DeleteSent(Now() - bounds_.age);
    transaction.Commit();
  }
}

std::uint64_t Store::Bytes() const {
  return FromDisk([](ItemTable& disk) { return disk.Bytes(); }) + (memory_ ? memory_->Bytes() : 0);
}

std::uint64_t Store::Items() const {
  return FromDisk([](ItemTable& disk) { return disk.Items(); }) + (memory_ ? memory_->Items() : 0);
}

std::unique_ptr<ItemTable> Store::MakeMemory() const {
  return std::make_unique<ItemTable>(std::make_unique<Database>("", Database::Access::Memory),
                                     LimitsOf(bounds_.bytesInMemory, 0));
}

// Goes on where the table's last run has stopped.
void Store::Adopt(ItemTable& table) {
  const auto state = table.ReadState();
  next_ = std::max(next_, state.next);
  const auto later = time_.Continue(state.time);
  if (later && memory_) memory_->MakeLater(*later, state.time->store);
}

// Tries what is wrong, if something is.
void Store::LookAtDisk() {
  if (path_.empty()) return;
  try {
    if (disk_ && disk_->database().HasMoved()) throw DatabaseError(SQLITE_CANTOPEN, "it has been removed");
  } catch (const DatabaseError& error) {
    Fail(error);
  }
  if (IsOnDisk()) return;
  try {
    ReturnToDisk();
  } catch (const DatabaseError& error) {
    Fail(error);
  }
}

void Store::ReturnToDisk() {
  // A connection that could write keeps the log and the free pages, which may be all the room on a full disk.
  if (!disk_ || disk_->database().IsReadOnly()) {
    disk_.reset();
    disk_ =
        std::make_unique<ItemTable>(OpenForWriting(path_), LimitsOf(bounds_.bytes, bounds_.bytesInMemory));
    Adopt(*disk_);
  } else {
    disk_->database().EmptyLog();
  }
  MoveToDisk();
  memory_.reset();
  sentOnDisk_ = {};
  removedOnDisk_ = {};
  if (std::exchange(hasToldFailure_, false)) Say("it is used again");
}

// Without a look at the bound of bytes: what is too much then is little, and has been kept already.
void Store::MoveToDisk() {
  if (memory_->Items() == 0 && sentOnDisk_.IsEmpty() && removedOnDisk_.IsEmpty()) return;
  Transaction transaction(disk_->database(), Transaction::Kind::Durable);
  sentOnDisk_.ForEachRange([&](std::uint64_t first, std::uint64_t last) { disk_->MarkSent(first, last); });
  removedOnDisk_.ForEachRange([&](std::uint64_t first, std::uint64_t last) { disk_->Remove(first, last); });
  while (disk_->DeleteSent(Now() - bounds_.age)) {
  }
  memory_->ForEach([&](const ItemTable::Row& row, const Item& item) { disk_->Insert(row, item); });
  disk_->WriteState(next_, time_.Present());
  transaction.Commit();
}

bool Store::MayTryAgain(ItemTable& table, const DatabaseError& error) {
  try {
    // The file's own bound looks like a full disk.
    if (error.Code() == SQLITE_FULL && table.IsAtLimit()) {
      Transaction transaction(table.database(), Transaction::Kind::Lazy);
      const bool hasDeleted = table.DeleteSent(milliseconds::max());
      transaction.Commit();
      return hasDeleted;
    }
    // A disk that is full has what the file and its log have taken already.
    if (error.Code() == SQLITE_FULL && IsOnDisk() && table.database().EmptyLog()) return true;
  } catch (const DatabaseError&) {
    // Then it is the disk all the same.
  }
  if (!IsOnDisk()) return false;
  Fail(error);
  return true;
}

void Store::Fail(const DatabaseError& error) {
  if (!memory_) memory_ = MakeMemory();
  // What is given from now on may never get to the disk, and another run that can't write either begins with
  // the same number there. The time is the only thing that is another one then; nobody gives a number for
  // each of its microseconds.
  next_ = std::max(next_,
                   static_cast<std::uint64_t>(std::max<std::int64_t>(0, clock_.WallTime().count())) * 1000);
  std::string reason = error.what();
  if (IsBroken(error.Code())) {
    try {
      return BeginAnew(error);
    } catch (const DatabaseError& next) {
      reason = next.what();
    }
  }
  if (!std::exchange(hasToldFailure_, true)) Say(reason + "; what is handed over is kept in memory alone");
  if (error.Code() == SQLITE_FULL) return;
  disk_.reset();
  // Somebody else has it.
  if (error.Code() != SQLITE_BUSY) OpenForReadingAlone();
}

void Store::BeginAnew(const DatabaseError& error) {
  disk_.reset();
  SetAside(path_);
  Say(std::string(error.what()) + "; it is set aside as " + path_ + ".broken, and a new one begins");
  ReturnToDisk();
}

void Store::OpenForReadingAlone() {
  try {
    auto database = OpenForReading(path_);
    if (!database) return;
    disk_ = std::make_unique<ItemTable>(std::move(database), LimitsOf(bounds_.bytes, bounds_.bytesInMemory));
    Adopt(*disk_);
  } catch (const DatabaseError&) {
    disk_.reset();
  }
}

void Store::Say(const std::string& what) const {
  if (tell_) tell_("The store " + path_ + ": " + what);
}

}  // namespace GuestAgent

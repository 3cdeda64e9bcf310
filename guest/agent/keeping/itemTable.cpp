#include "guest/agent/keeping/itemTable.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace GuestAgent {
namespace {

using std::chrono::milliseconds;

constexpr std::uint64_t kPageBytes = 4096;
constexpr std::int64_t kSchemaVersion = 1;
constexpr std::int64_t kReadAtOnce = 64;
// Few, as each may have a megabyte's sixteenth; many enough that most calls of Keep needn't delete any.
constexpr std::int64_t kDeletedAtOnce = 16;
// What a row has beside its texts and its payload, at most.
constexpr std::uint64_t kRowOverhead = 128;
// Well below what the database lets a row have.
constexpr std::uint64_t kLongestRow = 512 << 10;
// What the trees above the rows may need of a few new ones.
constexpr std::uint64_t kTreePages = 8;

// What is long comes last, as the columns before it can then be read without it. A number that is given later
// never has an earlier `kept`, so that the order of the index is that of the numbers: it has those that wait
// and those that were sent in order, and finds the past that somebody asks for, without a sort.
constexpr const char* kSchema = R"(
  CREATE TABLE items(sequence INTEGER PRIMARY KEY, kept INTEGER NOT NULL, owner INTEGER NOT NULL,
    isLatest INTEGER NOT NULL, sent INTEGER NOT NULL, bytes INTEGER NOT NULL, topic TEXT NOT NULL,
    createTime TEXT NOT NULL, token TEXT NOT NULL, category TEXT NOT NULL, payload BLOB NOT NULL) STRICT;
  CREATE INDEX itemsInOrder ON items(sent, kept);
  CREATE TABLE state(id INTEGER PRIMARY KEY, next INTEGER NOT NULL, storeTime INTEGER NOT NULL,
    wallTime INTEGER NOT NULL) STRICT;
  PRAGMA user_version = 1;)";

void MakeTables(Database& database) {
  Transaction transaction(database, Transaction::Kind::Durable);
  database.Execute(kSchema);
  transaction.Commit();
}

std::unique_ptr<Database> WithTables(std::unique_ptr<Database> database) {
  if (database->Number("PRAGMA user_version") == kSchemaVersion) return database;
  // One that wasn't finished has nothing yet.
  if (database->Number("SELECT count(*) FROM sqlite_schema") != 0) {
    throw DatabaseError(SQLITE_CORRUPT, "its tables are of another version");
  }
  MakeTables(*database);
  return database;
}

std::uint64_t RowBytes(const Item& item) {
  return BytesOf(item) + item.publication.createTime.size() + kRowOverhead;
}

// No more than as many: a row that isn't short has a page of its own, and shares none of the others.
std::uint64_t PagesOf(std::span<const Item> items) {
  std::uint64_t pages = kTreePages;
  for (const auto& item : items) pages += 1 + RowBytes(item) / (kPageBytes - 4);
  return pages;
}

bool IsTooLong(const Item& item) {
  return RowBytes(item) > kLongestRow;
}

Item ItemOf(const Query& row, int column) {
  return {{.createTime = row.Bytes(column + 3),
           .topic = row.Bytes(column + 2),
           .token = row.Bytes(column + 4),
           .category = row.Bytes(column + 5),
           .payload = row.Bytes(column + 6)},
          row.Number(column + 1) != 0,
          static_cast<Owner>(row.Number(column))};
}

}  // namespace

ItemTable::ItemTable(std::unique_ptr<Database> database, const Limits& limits)
    : database_(WithTables(std::move(database))),
      pages_(limits.bytes / kPageBytes),
      insert_(*database_, "INSERT OR IGNORE INTO items VALUES(?,?,?,?,?,?,?,?,?,?,?)"),
      read_(*database_,
            "SELECT owner, isLatest, topic, createTime, token, category, payload FROM items WHERE sequence = "
            "?"),
      readAll_(*database_,
               "SELECT sequence, kept, sent, owner, isLatest, topic, createTime, token, category, payload "
               "FROM items ORDER BY sequence"),
      isWaiting_(*database_, "SELECT 1 FROM items WHERE sequence = ? AND sent = 0"),
      waiting_(*database_,
               "SELECT sequence, topic, isLatest, owner, bytes, kept FROM items INDEXED BY itemsInOrder "
               "WHERE sent = 0 AND kept >= ?1 AND +sequence > ?2 ORDER BY kept, sequence LIMIT ?3"),
      past_(*database_,
            "SELECT sequence, topic FROM items INDEXED BY itemsInOrder WHERE sent = 1 AND kept >= max(?2, "
            "coalesce((SELECT kept FROM items WHERE sequence <= ?1 ORDER BY sequence DESC LIMIT 1), ?2)) "
            "AND +sequence > ?1 ORDER BY kept, sequence LIMIT ?3"),
      markSent_(*database_, "UPDATE items SET sent = 1 WHERE sequence BETWEEN ? AND ? AND +sent = 0"),
      remove_(*database_, "DELETE FROM items WHERE sequence BETWEEN ? AND ?"),
      deleteSent_(*database_,
                  "DELETE FROM items WHERE sequence IN (SELECT sequence FROM items INDEXED BY itemsInOrder "
                  "WHERE sent = 1 AND kept < ? ORDER BY kept, sequence LIMIT ?)"),
      writeState_(*database_, "REPLACE INTO state VALUES(1, ?, ?, ?)"),
      pageCount_(*database_, "PRAGMA page_count"),
      freePageCount_(*database_, "PRAGMA freelist_count"),
      count_(*database_, "SELECT count(*) FROM items") {
  // SQLite sets it no lower than what is there.
  const auto most = std::to_string(limits.mostBytes / kPageBytes);
  mostPages_ = static_cast<std::uint64_t>(database_->Number(("PRAGMA max_page_count = " + most).c_str()));
}

ItemTable::State ItemTable::ReadState() {
  State state;
  // The row is there as soon as there are items; whoever has deleted it shall not make a number come twice.
  state.next = static_cast<std::uint64_t>(database_->Number("SELECT max(sequence) FROM items")) + 1;
  Statement statement(*database_, "SELECT next, storeTime, wallTime FROM state WHERE id = 1");
  Query query(statement);
  if (!query.Next()) return state;
  state.next = std::max(state.next, static_cast<std::uint64_t>(query.Number(0)));
  state.time = {milliseconds(query.Number(1)), milliseconds(query.Number(2))};
  return state;
}

void ItemTable::WriteState(std::uint64_t next, const StoreTime::Mark& time) {
  Query(writeState_, next, time.store.count(), time.wall.count()).Run();
}

void ItemTable::Insert(const Row& row, const Item& item) {
  const auto& publication = item.publication;
  Query(insert_, row.sequence, row.kept.count(), item.owner, item.isLatest, row.isSent, BytesOf(item),
        publication.topic, publication.createTime, publication.token, publication.category,
        Blob{publication.payload})
      .Run();
}

std::optional<Item> ItemTable::Read(std::uint64_t sequence) {
  Query row(read_, sequence);
  if (!row.Next()) return std::nullopt;
  return ItemOf(row, 0);
}

void ItemTable::ForEach(const std::function<void(const Row&, const Item&)>& take) {
  Query row(readAll_);
  while (row.Next()) {
    take({static_cast<std::uint64_t>(row.Number(0)), milliseconds(row.Number(1)), row.Number(2) != 0},
         ItemOf(row, 3));
  }
}

bool ItemTable::IsWaiting(std::uint64_t sequence) {
  return Query(isWaiting_, sequence).Next();
}

std::vector<Store::Waiting> ItemTable::ReadWaiting(milliseconds kept, std::uint64_t after) {
  std::vector<Store::Waiting> some;
  Query row(waiting_, kept.count(), after, kReadAtOnce);
  while (row.Next()) {
    some.push_back({.sequence = static_cast<std::uint64_t>(row.Number(0)),
                    .topic = row.Bytes(1),
                    .isLatest = row.Number(2) != 0,
                    .owner = static_cast<Owner>(row.Number(3)),
                    .bytes = static_cast<std::size_t>(row.Number(4)),
                    .kept = milliseconds(row.Number(5))});
  }
  return some;
}

std::vector<Store::Past> ItemTable::ReadPast(std::uint64_t after, milliseconds since, std::size_t most) {
  std::vector<Store::Past> past;
  Query row(past_, after, since.count(), most);
  while (row.Next()) past.push_back({static_cast<std::uint64_t>(row.Number(0)), row.Bytes(1)});
  return past;
}

std::uint64_t ItemTable::MarkSent(std::uint64_t first, std::uint64_t last) {
  return Query(markSent_, first, last).Run();
}

std::uint64_t ItemTable::Remove(std::uint64_t first, std::uint64_t last) {
  return Query(remove_, first, last).Run();
}

void ItemTable::MakeLater(milliseconds by, milliseconds atLeast) {
  Statement statement(*database_, "UPDATE items SET kept = max(kept + ?, ?)");
  Query(statement, by.count(), atLeast.count()).Run();
}

bool ItemTable::MakeRoom(std::span<const Item> items) {
  const auto pages = PagesOf(items);
  // What can never have room doesn't cost the past.
  if (pages > pages_ || std::any_of(items.begin(), items.end(), IsTooLong)) return false;
  while (PagesInUse() + pages > pages_) {
    if (!DeleteSent(milliseconds::max())) return false;
  }
  return true;
}

bool ItemTable::DeleteSent(milliseconds before) {
  return Query(deleteSent_, before.count(), kDeletedAtOnce).Run() != 0;
}

bool ItemTable::IsAtLimit() {
  Query query(pageCount_);
  return query.Next() && static_cast<std::uint64_t>(query.Number(0)) + kTreePages >= mostPages_;
}

std::uint64_t ItemTable::PagesInUse() {
  Query all(pageCount_);
  Query free(freePageCount_);
  return all.Next() && free.Next() ? static_cast<std::uint64_t>(all.Number(0) - free.Number(0)) : 0;
}

std::uint64_t ItemTable::Bytes() {
  return PagesInUse() * kPageBytes;
}

std::uint64_t ItemTable::Items() {
  Query query(count_);
  return query.Next() ? static_cast<std::uint64_t>(query.Number(0)) : 0;
}

}  // namespace GuestAgent

#pragma once

#include <sqlite3.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace GuestAgent {

// What SQLite or the system has refused. The code is a primary result code of SQLite, such as SQLITE_FULL.
class DatabaseError final : public std::runtime_error {
 public:
  DatabaseError(int code, const std::string& reason) : std::runtime_error(reason), code_(code & 0xFF) {}
  int Code() const { return code_; }

 private:
  int code_;
};

// One connection to SQLite, of one thread. Whatever fails throws DatabaseError.
class Database final {
 public:
  enum class Access { ReadWrite, ReadOnly, Memory };

  // Requires: the file is there, unless it's in memory, where the path is nothing. Its connection is the only
  // one to a file that it may write.
  Database(const std::string& path, Access access);

  void Execute(const char* sql);
  // The first number of the answer.
  std::int64_t Number(const char* sql);
  // Whether the file under the path is another one by now, or none.
  bool HasMoved();
  // Carries the log over into the file, which gives the log room again. Gives whether there was anything in
  // it.
  bool EmptyLog();
  bool IsReadOnly() const { return access_ == Access::ReadOnly; }
  // Of the latest statement that changed rows.
  std::uint64_t ChangedRows() const;

 private:
  friend class Statement;
  friend class Query;
  friend class Transaction;

  void SetUp();
  void UseWriteAheadLog();
  void SetDurable(bool durable);
  void Check(int result) const;

  struct Closer {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
  };
  const Access access_;
  std::unique_ptr<sqlite3, Closer> connection_;
  int logPages_ = 0;
  bool isDurable_ = true;
};

// All that is done while it lives happens at once with Commit, or not at all. A durable one is on the disk
// when Commit is back; the others get there with the next durable one, or a little later.
class Transaction final {
 public:
  enum class Kind { Durable, Lazy };

  Transaction(Database& database, Kind kind);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();
  void Commit() { database_.Execute("COMMIT"); }

 private:
  Database& database_;
};

// Compiled once, run often, each time by a Query.
class Statement final {
 public:
  Statement(Database& database, const char* sql);

 private:
  friend class Query;
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  Database& database_;
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

// Stands for a parameter that is bytes, where a std::string alone is a text.
struct Blob {
  const std::string& bytes;
};

// One run of a statement, which it frees at its end. What it is given has to live as long.
class Query final {
 public:
  template <typename... Values>
  explicit Query(Statement& statement, const Values&... values)
      : database_(statement.database_), statement_(statement.statement_.get()) {
    [[maybe_unused]] int position = 0;
    (Bind(++position, values), ...);
  }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  ~Query();

  // Whether there is one more row.
  bool Next();
  // For what has no rows: runs it to its end, and gives the number of rows that it changed.
  std::uint64_t Run();
  std::int64_t Number(int column) const { return sqlite3_column_int64(statement_, column); }
  std::string Bytes(int column) const;

 private:
  void Bind(int position, std::integral auto value) {
    BindNumber(position, static_cast<sqlite3_int64>(value));
  }
  void Bind(int position, const std::string& text);
  void Bind(int position, const Blob& blob);
  void BindNumber(int position, sqlite3_int64 value);

  Database& database_;
  sqlite3_stmt* statement_;
};

}  // namespace GuestAgent

#include "guest/agent/keeping/database.h"

#include <cstring>

namespace GuestAgent {
namespace {

constexpr int kBytesOfPage = 4096;
// The write-ahead log is carried over into the file when it has as many pages: few syncs, and a bounded file.
constexpr int kMostLogPages = 1024;
// No value of a file that somebody has changed takes more memory.
constexpr int kLongestValue = 1 << 20;

int Flags(Database::Access access) {
  switch (access) {
    case Database::Access::ReadWrite:
      return SQLITE_OPEN_READWRITE;
    case Database::Access::ReadOnly:
      return SQLITE_OPEN_READONLY;
    default:
      return SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY;
  }
}

// SQLite reads a write-ahead log only where it can make locks or a file beside it, which a read-only disk
// doesn't let it. Without locks it can; there is nobody then who writes.
const char* FileSystem(Database::Access access) {
  return access == Database::Access::ReadOnly ? "unix-none" : "unix";
}

std::string Reason(sqlite3* connection) {
  if (connection == nullptr) return "out of memory";
  std::string reason = sqlite3_errmsg(connection);
  const int code = sqlite3_errcode(connection);
  // SQLite remembers an error of the system for these alone.
  if (code != SQLITE_IOERR && code != SQLITE_CANTOPEN) return reason;
  const int error = sqlite3_system_errno(connection);
  return error == 0 ? reason : reason + ": " + std::strerror(error);
}

}  // namespace

Database::Database(const std::string& path, Access access) : access_(access) {
  sqlite3* connection = nullptr;
  const int result =
      sqlite3_open_v2(access == Access::Memory ? ":memory:" : path.c_str(), &connection,
                      Flags(access) | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW, FileSystem(access));
  connection_.reset(connection);
  Check(result);
  SetUp();
}

void Database::SetUp() {
  auto* connection = connection_.get();
  // What it couldn't open for writing, SQLite opens for reading without a word.
  if (access_ == Access::ReadWrite && sqlite3_db_readonly(connection, "main") != 0) {
    throw DatabaseError(SQLITE_READONLY, "it is read-only");
  }
  sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, kLongestValue);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  Execute(
      // In front of all that reads the file: the index of the log is in memory then, not in a mapped file.
      "PRAGMA locking_mode = EXCLUSIVE;"
      "PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY;"
      "PRAGMA cache_size = -256; PRAGMA mmap_size = 0; PRAGMA secure_delete = OFF; PRAGMA synchronous = "
      "FULL;");
  if (access_ == Access::ReadWrite) UseWriteAheadLog();
}

void Database::UseWriteAheadLog() {
  Statement statement(*this, "PRAGMA journal_mode = WAL");
  // It would rather have another mode than an error.
  Query mode(statement);
  if (!mode.Next() || mode.Bytes(0) != "wal") throw DatabaseError(SQLITE_CANTOPEN, "it can't have a log");
  Execute(("PRAGMA journal_size_limit = " + std::to_string(kMostLogPages * kBytesOfPage)).c_str());
  // In place of SQLite's own way to checkpoint, of which nobody sees that it fails.
  sqlite3_wal_hook(
      connection_.get(),
      [](void* self, sqlite3*, const char*, int pages) {
        static_cast<Database*>(self)->logPages_ = pages;
        return SQLITE_OK;
      },
      this);
}

bool Database::EmptyLog() {
  if (logPages_ == 0) return false;
  Check(sqlite3_wal_checkpoint_v2(connection_.get(), "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr));
  logPages_ = 0;
  return true;
}

void Database::SetDurable(bool durable) {
  if (durable == isDurable_) return;
  Execute(durable ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
  isDurable_ = durable;
}

void Database::Execute(const char* sql) {
  Check(sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr));
}

std::int64_t Database::Number(const char* sql) {
  Statement statement(*this, sql);
  Query query(statement);
  return query.Next() ? query.Number(0) : 0;
}

bool Database::HasMoved() {
  int hasMoved = 0;
  Check(sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &hasMoved));
  return hasMoved != 0;
}

std::uint64_t Database::ChangedRows() const {
  return static_cast<std::uint64_t>(sqlite3_changes64(connection_.get()));
}

void Database::Check(int result) const {
  if (result != SQLITE_OK) throw DatabaseError(result, Reason(connection_.get()));
}

Transaction::Transaction(Database& database, Kind kind) : database_(database) {
  if (database_.logPages_ >= kMostLogPages) database_.EmptyLog();
  database_.SetDurable(kind == Kind::Durable);
  database_.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  auto* connection = database_.connection_.get();
  // Some errors end the transaction themselves.
  if (sqlite3_get_autocommit(connection) != 0) return;
  sqlite3_exec(connection, "ROLLBACK", nullptr, nullptr, nullptr);
}

Statement::Statement(Database& database, const char* sql) : database_(database) {
  sqlite3_stmt* statement = nullptr;
  database.Check(sqlite3_prepare_v3(database.connection_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT,
                                    &statement, nullptr));
  statement_.reset(statement);
}

Query::~Query() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

bool Query::Next() {
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) database_.Check(result);
  return false;
}

std::uint64_t Query::Run() {
  while (Next()) {
  }
  return database_.ChangedRows();
}

std::string Query::Bytes(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

void Query::Bind(int position, const std::string& text) {
  database_.Check(
      sqlite3_bind_text(statement_, position, text.data(), static_cast<int>(text.size()), nullptr));
}

void Query::Bind(int position, const Blob& blob) {
  database_.Check(sqlite3_bind_blob(statement_, position, blob.bytes.data(),
                                    static_cast<int>(blob.bytes.size()), nullptr));
}

void Query::BindNumber(int position, sqlite3_int64 value) {
  database_.Check(sqlite3_bind_int64(statement_, position, value));
}

}  // namespace GuestAgent

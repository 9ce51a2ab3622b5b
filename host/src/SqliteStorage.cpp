#include "ostrel_host/SqliteStorage.h"

#include <sqlite3.h>

#include <cstdlib>
#include <cstring>

namespace OstrelHost {
namespace {

constexpr int kBusyTimeoutMs = 5000;
constexpr int kFailed = 1;

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS ostrel_records ("
    " key TEXT PRIMARY KEY NOT NULL,"
    " value BLOB NOT NULL"
    ") WITHOUT ROWID";

// Resets a statement when the call that used it ends, whichever way.
class StatementScope {
 public:
  explicit StatementScope(sqlite3_stmt* statement) : statement_(statement) {}
  ~StatementScope() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  StatementScope(const StatementScope&) = delete;
  StatementScope& operator=(const StatementScope&) = delete;

 private:
  sqlite3_stmt* const statement_;
};

bool Exec(sqlite3* db, const char* sql, std::string* error) {
  char* message = nullptr;
  if (sqlite3_exec(db, sql, nullptr, nullptr, &message) == SQLITE_OK) return true;
  if (error != nullptr) *error = message != nullptr ? message : sqlite3_errmsg(db);
  sqlite3_free(message);
  return false;
}

}  // namespace

std::unique_ptr<SqliteStorage> SqliteStorage::Open(const std::string& path, std::string* error) {
  try {
    sqlite3* db = nullptr;
    // The connection is serialised by the store's own mutex, so SQLite's
    // per-connection locking would only add cost.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    const int opened = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
    // From here on the store owns db, even when opening failed (SQLite then
    // still hands out a handle that carries the error and must be closed).
    std::unique_ptr<SqliteStorage> storage(new SqliteStorage(db));
    if (opened != SQLITE_OK) {
      if (error != nullptr) *error = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(opened);
      return nullptr;
    }
    sqlite3_busy_timeout(db, kBusyTimeoutMs);
    // WAL lets readers in other processes work beside the writer. A file
    // system without shared memory keeps the old journal, which only costs
    // concurrency, so the mode's answer is not checked.
    if (!Exec(db, "PRAGMA journal_mode=WAL", error) ||
        !Exec(db, "PRAGMA synchronous=NORMAL", error) || !Exec(db, kSchema, error) ||
        !storage->Prepare(error)) {
      return nullptr;
    }
    return storage;
  } catch (...) {
    if (error != nullptr) *error = "out of memory";
    return nullptr;
  }
}

SqliteStorage::SqliteStorage(sqlite3* db) : db_(db) {}

SqliteStorage::~SqliteStorage() {
  sqlite3_finalize(save_);
  sqlite3_finalize(load_);
  sqlite3_finalize(remove_);
  sqlite3_finalize(clear_);
  sqlite3_close_v2(db_);
}

bool SqliteStorage::Prepare(std::string* error) {
  struct {
    sqlite3_stmt** statement;
    const char* sql;
  } const statements[] = {
      {&save_, "INSERT OR REPLACE INTO ostrel_records (key, value) VALUES (?1, ?2)"},
      {&load_, "SELECT value FROM ostrel_records WHERE key = ?1"},
      {&remove_, "DELETE FROM ostrel_records WHERE key = ?1"},
      {&clear_, "DELETE FROM ostrel_records"},
  };
  for (const auto& entry : statements) {
    if (sqlite3_prepare_v2(db_, entry.sql, -1, entry.statement, nullptr) != SQLITE_OK) {
      if (error != nullptr) *error = sqlite3_errmsg(db_);
      return false;
    }
  }
  return true;
}

int SqliteStorage::Save(const char* key, const char* value) {
  if (key == nullptr || value == nullptr) return kFailed;
  std::lock_guard<std::mutex> lock(mutex_);
  StatementScope scope(save_);
  // SQLITE_STATIC: both strings outlive the statement's use in this call.
  if (sqlite3_bind_text(save_, 1, key, -1, SQLITE_STATIC) != SQLITE_OK ||
      sqlite3_bind_blob64(save_, 2, value, std::strlen(value), SQLITE_STATIC) != SQLITE_OK) {
    return kFailed;
  }
  return sqlite3_step(save_) == SQLITE_DONE ? 0 : kFailed;
}

char* SqliteStorage::Load(const char* key) {
  if (key == nullptr) return nullptr;
  std::lock_guard<std::mutex> lock(mutex_);
  StatementScope scope(load_);
  if (sqlite3_bind_text(load_, 1, key, -1, SQLITE_STATIC) != SQLITE_OK ||
      sqlite3_step(load_) != SQLITE_ROW) {
    return nullptr;
  }
  const void* bytes = sqlite3_column_blob(load_, 0);
  const size_t size = static_cast<size_t>(sqlite3_column_bytes(load_, 0));
  auto* copy = static_cast<char*>(std::malloc(size + 1));
  if (copy == nullptr) return nullptr;
  if (size > 0) std::memcpy(copy, bytes, size);
  copy[size] = '\0';
  return copy;
}

int SqliteStorage::Remove(const char* key) {
  if (key == nullptr) return kFailed;
  std::lock_guard<std::mutex> lock(mutex_);
  StatementScope scope(remove_);
  if (sqlite3_bind_text(remove_, 1, key, -1, SQLITE_STATIC) != SQLITE_OK) return kFailed;
  return sqlite3_step(remove_) == SQLITE_DONE ? 0 : kFailed;
}

int SqliteStorage::Reserved() { return 0; }

int SqliteStorage::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  StatementScope scope(clear_);
  return sqlite3_step(clear_) == SQLITE_DONE ? 0 : kFailed;
}

void SqliteStorage::Free(char* buffer) { std::free(buffer); }

}  // namespace OstrelHost
